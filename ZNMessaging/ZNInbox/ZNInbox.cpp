#include "ZNMessaging/ZNInbox/ZNInbox.h"

#include <utility>

#include "Platform/Foundation/Once.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/InboxStoryboard.h"
#include "ZintarCore/ExceptionGuard.h"

std::shared_ptr<ZNInboxViewController> ZNInbox::initializeInboxOnController(
    const std::shared_ptr<UIViewController>& controller) {
  return zn::guarded("initializeInboxOnController:", "Exception(ZNInbox) Initialize VC : %@", [&] {
    const NSBundle bundle = NSBundle::bundleForAddress(reinterpret_cast<const void*>(&zn::newInboxScreen));
    const auto inbox = zn::newInboxScreen(bundle);
    inbox->setAutomaticallyAdjustsScrollViewInsets(false);
    if (controller) {
      controller->setAutomaticallyAdjustsScrollViewInsets(false);
      controller->addChildViewController(inbox);
      controller->view()->addSubview(inbox->view());
    } else {
      inbox->view();
    }
    inbox->didMoveToParentViewController(controller);
    return inbox;
  });
}

void ZNInbox::getInboxMessagesWithCompletionBlock(const std::function<void(const zn::InboxListPtr&)>& callback) {
  if (!callback) return;
  const zn::InboxListPtr list = zn::guarded(
      "getInboxMessagesWithCompletionBlock:", "Exception(ZNInbox) while getting messages : %@",
      [] { return ZNInboxHandler::sharedInstance()->getAllNotificationModelObjs(); },
      []() -> zn::InboxListPtr { return std::make_shared<const zn::InboxList>(); });
  callback(list);
}

void ZNInbox::fetchInboxMessagesWithCompletion(std::function<void(bool)> callback) {
  const auto answer = zn::once(std::move(callback));
  const bool started = zn::guarded("fetchInboxMessagesWithCompletion:", "Exception(ZNInbox) Syncing Inbox : %@", [&] {
    ZNInboxHandler::sharedInstance()->syncInboxNotificationsWithCompletionHandler(answer);
    return true;
  });
  if (!started) answer(false);
}

void ZNInbox::markInboxNotificationClickedWithCampaignID(const zn::Value& campaignID) {
  zn::guarded("markInboxNotificationClickedWithCampaignID:",
              zn::FailureMessage("Exception(ZNInbox) Marking as Clicked(%@) : %@", campaignID, zn::caught),
              [&] { ZNInboxHandler::sharedInstance()->markInboxNotificationReadForCampaignID(campaignID); });
}

void ZNInbox::processInboxNotificationWithCampaignID(const zn::Value& campaignID) {
  zn::guarded("processInboxNotificationWithCampaignID:",
              zn::FailureMessage("Exception(ZNInbox) in Processing Inbox click(%@) : %@", campaignID, zn::caught), [&] {
                const auto entry = ZNInboxHandler::sharedInstance()->fetchInboxEntryForCampaignID(campaignID);
                ZNNotificationHandler::sharedInstance()->handleDefaultActionsWithPayload(
                    entry ? entry->notificationPayloadDict() : zn::nil);
              });
}

void ZNInbox::trackInboxNotificationClickWithCampaignID(const zn::Value& campaignID) {
  zn::guarded("trackInboxNotificationClickWithCampaignID:",
              zn::FailureMessage("Exception(ZNInbox) tracking Inbox click(%@) : %@", campaignID, zn::caught),
              [&] { ZNInboxHandler::sharedInstance()->trackInboxNotificationClickForCampaignID(campaignID); });
}

void ZNInbox::removeInboxMessages() {
  zn::guarded("removeInboxMessages", "Exception(ZNInbox) in removing Inbox messages : %@",
              [] { ZNInboxHandler::sharedInstance()->clearInboxData(); });
}

void ZNInbox::removeMessageWithCampaignID(const zn::Value& campaignID) {
  zn::guarded("removeMessageWithCampaignID:",
              zn::FailureMessage("Exception(ZNInbox) removing specific Inbox message(%@): %@", campaignID, zn::caught),
              [&] {
                if (campaignID.isNil() || (campaignID.isString() && campaignID.string().empty())) return;
                ZNInboxHandler::sharedInstance()->removeNotificationForCampaignID(campaignID);
              });
}

std::size_t ZNInbox::getAllNotificationCount() {
  return zn::guarded("getAllNotificationCount", "Exception(ZNInbox) in getting notifications count : %@",
                     [] { return ZNInboxHandler::sharedInstance()->getAllNotificationCount(); });
}

std::size_t ZNInbox::getUnreadNotifictionCount() {
  return zn::guarded("getUnreadNotifictionCount", "Exception(ZNInbox) in getting unread count : %@",
                     [] { return ZNInboxHandler::sharedInstance()->getUnreadNotifictionCount(); });
}

zn::DateFormatter ZNInbox::dateFormatterWithFormat(const std::string& format) {
  return ZNDateUtils::dateFormatterForUsPosixLocaleWithFormat(format, false);
}

UIFont ZNInbox::defaultTextFont() { return ZNInboxHandler::defaultTextFont(); }
UIFont ZNInbox::defaultUnreadTextFont() { return ZNInboxHandler::defaultUnreadTextFont(); }
