#include "Apps/zinhost/Shop.h"

#include "ZNMessaging/ZNInbox/ZNInbox.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZintarCore/UserSession.h"

namespace zinhost {

const zn::Class& Shop::isa() const {
  static const zn::Class* const mine = zn::ClassBuilder<Shop>("Shop")
                                           .implements(kSelectorDidRegisterForRemoteNotifications, &Shop::didRegister)
                                           .implements(kSelectorDidFailToRegisterForRemoteNotifications, &Shop::didFail)
                                           .implements(kSelectorDidReceiveRemoteNotification, &Shop::didReceive)
                                           .build();
  return *mine;
}

void Shop::start(const std::string& user) {
  const auto self = std::static_pointer_cast<Shop>(shared_from_this());
  zn::UserSession::logIn(user);  // in a shop with a log-in: whenever that says who it is
  device_->setHost(self);
  UIApplication::sharedApplication()->setDelegate(self);
  ZNInboxHandler::sharedInstance()->addObserver(self);
  const auto messaging = ZNMessaging::sharedInstance();
  messaging->setMessagingDelegate(self);  // before the start, which may deliver a click
  messaging->initializeMessagingWithLaunchOptions(zn::nil);
  // The user is asked when it makes sense. From then on each start registers, as the token may be a new one.
  askWhetherNotificationsAreAllowed([self](std::optional<bool> allowed) {
    if (allowed == true) self->allowNotifications();
  });
  device_->start();
  unreadChanged(ZNInbox::getUnreadNotifictionCount());
}

void Shop::askWhetherNotificationsAreAllowed(std::function<void(std::optional<bool>)> then) {
  const auto answer = [then = std::move(then)](const UNNotificationSettings& settings) {
    std::optional<bool> allowed = settings.alertSetting == UNNotificationSetting::enabled;
    if (settings.alertSetting == UNNotificationSetting::notDetermined) allowed.reset();
    zn::dispatchAsync(zn::Queue::main, [then, allowed] { then(allowed); });
  };
  UNUserNotificationCenter::currentNotificationCenter()->getNotificationSettingsWithCompletionHandler(answer);
}

void Shop::allowNotifications() {
  device_->setNotificationsAllowed(true);
  const UNNotificationCategory parcel{"PARCEL", {{"track", "Track it", 4}, {"later", "Later", 0}}, {}, 0};
  ZNMessaging::sharedInstance()->registerForRemoteNotificationWithCategories({parcel}, nullptr);
}

void Shop::sendEventsSoon() {
  zn::dispatchAfter(zn::Queue::main, 1, [] { ZNAnalytics::sharedInstance()->flushWithCompletionBlock(nullptr); });
}

void Shop::open(const std::vector<std::string>& links) {
  activated("");
  for (const std::string& link : links) screenAsked("Link", zn::Value::dictionary({{"link", link}}));
}

void Shop::notificationClickedWithScreenName(const zn::Value& screenName, const zn::Value& pairs) {
  sendEventsSoon();  // the click is among them
  if (screenName.isString()) screenAsked(std::string(screenName.string()), pairs);
}

void Shop::didRegister(const std::shared_ptr<UIApplication>&, const zn::Data& token) {
  ZNMessaging::sharedInstance()->setPushToken(token);
  subscriptionChanged({token.begin(), token.end()});
}

void Shop::didFail(const std::shared_ptr<UIApplication>&, const std::string& why) {
  ZNMessaging::sharedInstance()->didFailToRegisterForPush();
  subscriptionChanged("");
  happened("No push: " + why);
}

void Shop::didReceive(const std::shared_ptr<UIApplication>& application, const zn::Value& payload) {
  ZNMessaging::sharedInstance()->didReceieveNotificationinApplication(application, payload);
  ZNInbox::fetchInboxMessagesWithCompletion(nullptr);  // takes the push in; the observer is told
  happened("A push has arrived");
}

}  // namespace zinhost
