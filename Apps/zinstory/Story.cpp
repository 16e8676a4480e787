#include "Apps/zinstory/Story.h"

#include <filesystem>
#include <memory>
#include <system_error>

#include "Apps/zinstory/Teller.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNRichNotification/ZNPushPayload.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace zinstory {

namespace {

constexpr double kDay = 86400;

/// The application delegate of the story's host: it hands the platform's callbacks to the module, as any host does, and
/// shows the screens that a click asks for.
class Host : public zn::Object, public ZNMessagingDelegate {
 public:
  explicit Host(Page& page) : page_(page) {}

  const zn::Class& isa() const override {
    static const zn::Class* const mine =
        zn::ClassBuilder<Host>("StoryHost")
            .implements(kSelectorDidReceiveRemoteNotification, &Host::didReceiveRemoteNotification)
            .implements(kSelectorDidRegisterForRemoteNotifications, &Host::didRegister)
            .build();
    return *mine;
  }

  void notificationClickedWithScreenName(const zn::Value& screenName, const zn::Value& kvPairs) override {
    if (!screenName.isNil()) page_.effect("screen", zn::format("%@ %@", screenName, kvPairs));
  }

 private:
  void didReceiveRemoteNotification(const std::shared_ptr<UIApplication>& application, const zn::Value& payload) {
    ZNMessaging::sharedInstance()->didReceieveNotificationinApplication(application, payload);
  }
  void didRegister(const std::shared_ptr<UIApplication>&, const zn::Data& token) {
    ZNMessaging::sharedInstance()->setPushToken(token);
  }

  Page& page_;
};

std::string counted(std::size_t count, const char* noun) {
  return zn::format("%ld %@%@", count, noun, count == 1 ? "" : "s");
}

std::string inboxSummary() {
  const auto& inbox = ZNInboxHandler::sharedInstance();
  return zn::format("In the inbox: %@, %ld unread.", counted(inbox->getAllNotificationCount(), "message"),
                    inbox->getUnreadNotifictionCount());
}

/// The alert's texts on one line.
std::string alertText(const zn::Value& payload) {
  const UNNotificationContent content = zn::Simulator::notificationFor(payload, {}).request.content;
  std::string text;
  for (const zn::Value& part : {content.title, content.subtitle, content.body}) {
    if (part.length() == 0) continue;
    if (!text.empty()) text += " - ";
    text += part.string();
  }
  return text;
}

/// The first card of a rich template, or nil.
zn::Value firstCardID(const zn::Value& payload) {
  const auto push = ZNPushPayload(payload).richPush();
  const auto mode = push ? push->expandedMode() : nullptr;
  return mode && !mode->cards().empty() ? zn::Value(mode->cards().front().cardID()) : zn::nil;
}

/// What the notification extension leaves for the application when the user taps a card.
void noteCardTap(const zn::Value& payload, const zn::Value& cardID) {
  const zn::Value group = ZNConfigDataManager::sharedInstance()->getAppGroupID();
  const auto note = zn::Value::dictionary({{zn::payload::clickInfoCampaignID, ZNPushPayload(payload).campaignID()},
                                           {zn::payload::clickInfoCardID, zn::Value(zn::format("%@", cardID))}});
  NSUserDefaults::initWithSuiteName(std::string(group.string()))->setObject(note, zn::payload::templateClickInfo);
}

bool isSilent(const zn::Value& payload) {
  const zn::Value zintar = payload.validObjectForKey(kNotificationPayloadKeyZintar);
  return !zintar.validObjectForKey(kNotificationPayloadKeySilentPush).isNil();
}

void introduce(Page& page, const Payload& payload, std::size_t number) {
  const auto& handler = ZNNotificationHandler::sharedInstance();
  const zn::Value zintar = payload.content.validObjectForKey(kNotificationPayloadKeyZintar);
  page.heading(zn::format("%ld. %@", number, payload.fileName));
  if (const std::string text = alertText(payload.content); !text.empty()) page.paragraph("“" + text + "”");
  if (!handler->isPushFromZintarWithPayload(payload.content)) {
    page.paragraph("A push of somebody else (no \"zintar\" in it): the host hears of clicks, nothing is counted.");
  } else if (isSilent(payload.content)) {
    page.paragraph("A silent push: the host hears of it; there is nothing to see, to click or to count.");
  } else if (!handler->shouldProcessNotificationZintarDict(zintar)) {
    page.paragraph(
        "A push without a campaign (no \"cid\" in \"zintar\"): the host hears of clicks, nothing is counted.");
  }
  page.blankLine();
}

/// A coupon is shown in an alert; the links of its push wait for a button.
void pressInCouponAlert(Teller& teller, const zn::Value& push, const char* button) {
  if (push.validObjectForKeyPath("zintar.couponCode").isNil()) return;
  teller.step(zn::format("%@ pressed", button), [&] { teller.device().press(button); });
}

void tellPayload(Page& page, Teller& teller, const Payload& payload, std::size_t number) {
  const zn::Value& push = payload.content;
  auto& device = teller.device();
  introduce(page, payload, number);
  teller.step("received in background", [&] {
    device.setApplicationState(UIApplicationState::background);
    if (const zn::Value badge = push.validObjectForKeyPath("aps.badge"); badge.isNumber()) {
      device.setBadge(static_cast<long>(badge.longLongValue()));  // the platform does that, not the module
    }
    device.deliver(push);
  });
  if (isSilent(push)) return;
  device.setApplicationState(UIApplicationState::active);
  teller.step("clicked", [&] { device.tap(push); });
  pressInCouponAlert(teller, push, "COPY");
  teller.step("a second one dismissed", [&] { device.tap(push, "dismiss"); });
  const zn::Value card = firstCardID(push);
  if (card.isNil()) {
    teller.step("a third one clicked", [&] { device.tap(push); });
    pressInCouponAlert(teller, push, "Cancel");
  } else {
    teller.step(zn::format("a third: card %@ tapped", card), [&] {
      noteCardTap(push, card);
      device.tap(push);
    });
  }
  page.blankLine();
  page.paragraph(inboxSummary());
}

void listInbox(Page& page) {
  const std::vector<std::size_t> widths{10, 10, 6, 24, 0};
  page.row(widths, {"received", "clicked", "read", "campaign", "title or text"});
  const auto list = ZNInboxHandler::sharedInstance()->getAllNotificationModelObjs();
  for (const auto& entry : *list) {
    zn::Value text = entry->notificationTitle();
    if (text.length() == 0) text = entry->notificationBody();
    page.row(widths, {timeText(entry->receivedDate()), timeText(entry->clickedDate()), entry->isRead() ? "yes" : "no",
                      zn::format("%@", entry->campaignID()), text.isNil() ? "-" : zn::format("%@", text)});
  }
}

}  // namespace

void tellFirstStart(Page& page, const std::string& home, const std::vector<Payload>& payloads) {
  const auto device = zn::Simulator::install({.home = home});
  // Their part comes later, with a real server; here they would only fill the page with requests that fail.
  ZNConfigDataManager::sharedInstance()->apply(
      zn::Value::dictionary({{"realTimeTriggersEnabled", false}, {"inboxServiceActive", false}}));
  Teller teller(device, page);
  page.heading(zn::format("ZNMessaging: what becomes of %@", counted(payloads.size(), "push notification")));
  page.paragraph(zn::format("On the simulated device, whose clock stands at %@.", dateText(device->now())));
  page.blankLine();
  page.paragraph("broadcast  the host application is told          badge  the number on its icon is set");
  page.paragraph("tracked    an analytics event, with attributes   saved  a file is written");
  page.paragraph("came from  the session's source, for analytics   asked  a request to the server");
  page.heading("The application starts");
  page.blankLine();
  const auto host = std::make_shared<Host>(page);
  teller.step("started", [&] {
    UIApplication::sharedApplication()->setDelegate(host);
    ZNMessaging::sharedInstance()->initializeMessagingWithLaunchOptions(zn::nil);
    ZNMessaging::sharedInstance()->setMessagingDelegate(host);
  });
  teller.step("a device token arrives", [&] { device->remoteToken({0x5e, 0xed, 0x01}); });
  teller.step("the same token again", [&] { device->remoteToken({0x5e, 0xed, 0x01}); });
  teller.step("a new token", [&] { device->remoteToken({0x5e, 0xed, 0x02}); });
  for (std::size_t i = 0; i < payloads.size(); ++i) tellPayload(page, teller, payloads[i], i + 1);
}

void tellSecondStart(Page& page, const std::string& home) {
  const auto device = zn::Simulator::install({.home = home});
  device->moveClock(zn::Simulator::startOfTime + kDay);
  page.heading("A day later the application is started again, in a new process");
  page.blankLine();
  const auto& inbox = ZNInboxHandler::sharedInstance();
  const std::string file = inbox->getFilePathForInbox();
  std::error_code missing;
  const auto size = std::filesystem::file_size(file, missing);
  if (missing) {
    page.paragraph("There is no inbox file: no message was kept.");
    return;
  }
  page.paragraph(zn::format("%@ (%ld bytes) holds %@, newest first:", file.substr(home.size() + 1), size,
                            counted(inbox->getAllNotificationCount(), "message")));
  page.blankLine();
  listInbox(page);
}

}  // namespace zinstory
