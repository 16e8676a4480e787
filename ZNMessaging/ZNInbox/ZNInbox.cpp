#include "ZNMessaging/ZNInbox/ZNInbox.h"

#include <utility>

#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/Utils/ModuleState_p.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZintarCore/ExceptionGuard.h"

void ZNInbox::getInboxMessagesWithCompletionBlock(const std::function<void(const zn::InboxListPtr&)>& callback) {
  if (!callback) return;
  constexpr const char* kSelector = "getInboxMessagesWithCompletionBlock:";
  constexpr const char* kFailure = "Exception(ZNInbox) while getting messages : %@";
  const auto nothing = []() -> zn::InboxListPtr { return std::make_shared<const zn::InboxList>(); };
  const zn::InboxListPtr list = zn::guarded(
      kSelector, kFailure,
      [&] { return zn::isSwitchedOn() ? ZNInboxHandler::sharedInstance()->getAllNotificationModelObjs() : nothing(); },
      nothing);
  zn::guarded(kSelector, kFailure, [&] { callback(list); });
}

void ZNInbox::fetchInboxMessagesWithCompletion(std::function<void(bool)> callback) {
  constexpr const char* kSelector = "fetchInboxMessagesWithCompletion:";
  constexpr const char* kFailure = "Exception(ZNInbox) Syncing Inbox : %@";
  zn::answeredOnce(kSelector, kFailure, std::move(callback), [&](const auto& answer) {
    if (!zn::isSwitchedOn()) return false;
    ZNInboxHandler::sharedInstance()->syncInboxNotificationsWithCompletionHandler(answer);
    return true;
  });
}

void ZNInbox::markInboxNotificationClickedWithCampaignID(const zn::Value& campaignID) {
  zn::guarded("markInboxNotificationClickedWithCampaignID:",
              zn::FailureMessage("Exception(ZNInbox) Marking as Clicked(%@) : %@", campaignID, zn::caught), [&] {
                if (zn::isSwitchedOn())
                  ZNInboxHandler::sharedInstance()->markInboxNotificationReadForCampaignID(campaignID);
              });
}

void ZNInbox::processInboxNotificationWithCampaignID(const zn::Value& campaignID) {
  zn::guarded("processInboxNotificationWithCampaignID:",
              zn::FailureMessage("Exception(ZNInbox) in Processing Inbox click(%@) : %@", campaignID, zn::caught), [&] {
                if (!zn::isSwitchedOn()) return;
                const auto entry = ZNInboxHandler::sharedInstance()->fetchInboxEntryForCampaignID(campaignID);
                ZNNotificationHandler::sharedInstance()->handleDefaultActionsWithPayload(
                    entry ? entry->notificationPayloadDict() : zn::nil);
              });
}

void ZNInbox::trackInboxNotificationClickWithCampaignID(const zn::Value& campaignID) {
  zn::guarded("trackInboxNotificationClickWithCampaignID:",
              zn::FailureMessage("Exception(ZNInbox) tracking Inbox click(%@) : %@", campaignID, zn::caught), [&] {
                if (zn::isSwitchedOn())
                  ZNInboxHandler::sharedInstance()->trackInboxNotificationClickForCampaignID(campaignID);
              });
}

void ZNInbox::removeInboxMessages() {
  zn::guarded("removeInboxMessages", "Exception(ZNInbox) in removing Inbox messages : %@", [] {
    if (zn::isSwitchedOn()) ZNInboxHandler::sharedInstance()->clearInboxData();
  });
}

void ZNInbox::removeMessageWithCampaignID(const zn::Value& campaignID) {
  zn::guarded("removeMessageWithCampaignID:",
              zn::FailureMessage("Exception(ZNInbox) removing specific Inbox message(%@): %@", campaignID, zn::caught),
              [&] {
                if (!zn::isSwitchedOn() || campaignID.isNil() || (campaignID.isString() && campaignID.string().empty()))
                  return;
                ZNInboxHandler::sharedInstance()->removeNotificationForCampaignID(campaignID);
              });
}

std::size_t ZNInbox::getAllNotificationCount() {
  return zn::guarded("getAllNotificationCount", "Exception(ZNInbox) in getting notifications count : %@", [] {
    return zn::isSwitchedOn() ? ZNInboxHandler::sharedInstance()->getAllNotificationCount() : 0;
  });
}

std::size_t ZNInbox::getUnreadNotifictionCount() {
  return zn::guarded("getUnreadNotifictionCount", "Exception(ZNInbox) in getting unread count : %@", [] {
    return zn::isSwitchedOn() ? ZNInboxHandler::sharedInstance()->getUnreadNotifictionCount() : 0;
  });
}

zn::DateFormatter ZNInbox::dateFormatterWithFormat(const std::string& format) {
  return ZNDateUtils::dateFormatterForUsPosixLocaleWithFormat(zn::isSwitchedOn() ? format : "", false);
}

UIFont ZNInbox::defaultTextFont() { return zn::isSwitchedOn() ? ZNInboxHandler::defaultTextFont() : UIFont{}; }
UIFont ZNInbox::defaultUnreadTextFont() {
  return zn::isSwitchedOn() ? ZNInboxHandler::defaultUnreadTextFont() : UIFont{};
}
