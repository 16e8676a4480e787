// Operations of the inbox: its public calls and its store.

#include "Apps/zinsim/Operations.h"
#include "ZNMessaging/ZNInbox/ZNInbox.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"

namespace zinsim {

namespace {

using H = ZNInboxHandler;

std::vector<Operation> publicCalls() {
  return {
      operation("initializeInboxOnController:", {P::nothing},
                [](A) { return className(ZNInbox::initializeInboxOnController(nullptr), "ZNInboxViewController"); }),
      operation("getInboxMessagesWithCompletionBlock:", {P::completion}, &ZNInbox::getInboxMessagesWithCompletionBlock),
      operation("fetchInboxMessagesWithCompletion:", {P::completion}, &ZNInbox::fetchInboxMessagesWithCompletion),
      operation("markInboxNotificationClickedWithCampaignID:", {P::text},
                &ZNInbox::markInboxNotificationClickedWithCampaignID),
      operation("processInboxNotificationWithCampaignID:", {P::text}, &ZNInbox::processInboxNotificationWithCampaignID),
      operation("trackInboxNotificationClickWithCampaignID:", {P::text},
                &ZNInbox::trackInboxNotificationClickWithCampaignID),
      operation("removeInboxMessages", {}, &ZNInbox::removeInboxMessages),
      operation("removeMessageWithCampaignID:", {P::text}, &ZNInbox::removeMessageWithCampaignID),
      operation("getAllNotificationCount", {}, &ZNInbox::getAllNotificationCount),
      operation("getUnreadNotifictionCount", {}, &ZNInbox::getUnreadNotifictionCount),
      operation("dateFormatterWithFormat:", {P::text},
                [](A a) {
                  const std::string format(a.value(0).string());
                  const bool isMade = ZNInbox::dateFormatterWithFormat(format).pattern() == format;
                  return isMade ? zn::Value("NSDateFormatter") : zn::nil;
                }),
      operation("defaultTextFont", {}, &ZNInbox::defaultTextFont),
      operation("defaultUnreadTextFont", {}, &ZNInbox::defaultUnreadTextFont),
  };
}

std::vector<Operation> handlerOperations() {
  return {
      operation("sharedInstance", {}, [](A) { return className(H::sharedInstance(), "ZNInboxHandler"); }),
      operation("getFilePathForInbox", {}, &H::getFilePathForInbox),
      operation("getAllNotificationModelObjs", {}, &H::getAllNotificationModelObjs),
      operation("getAllNotificationPayloads", {}, &H::getAllNotificationPayloads),
      operation("getUnreadNotificationPayloads", {}, &H::getUnreadNotificationPayloads),
      operation("getReadNotificationPayloads", {}, &H::getReadNotificationPayloads),
      operation("getAllNotificationCount", {}, &H::getAllNotificationCount),
      operation("getUnreadNotifictionCount", {}, &H::getUnreadNotifictionCount),
      operation("fetchInboxEntryForCampaignID:", {P::text}, &H::fetchInboxEntryForCampaignID),
      operation("defaultTextFont", {}, &H::defaultTextFont),
      operation("defaultUnreadTextFont", {}, &H::defaultUnreadTextFont),
      operation("inboxData", {}, [](A) { return className(H::sharedInstance()->inboxData(), "ZNInboxData"); }),
      operation("syncInProgress", {}, &H::syncInProgress),
      operation("updateInboxStorage", {}, [](A) { static_cast<void>(H::sharedInstance()->updateInboxStorage()); }),
      operation("markInboxNotificationReadForCampaignID:", {P::text}, &H::markInboxNotificationReadForCampaignID),
      operation("trackInboxNotificationClickForCampaignID:", {P::text}, &H::trackInboxNotificationClickForCampaignID),
      operation("updateClickedNotificationInStorageWithPayload:", {P::dictionary},
                &H::updateClickedNotificationInStorageWithPayload),
      operation("removeNotificationForCampaignID:", {P::text}, &H::removeNotificationForCampaignID),
      operation("clearInboxData", {}, &H::clearInboxData),
      operation("resetInboxDataWithLegacyPayloadArray:", {P::array}, &H::resetInboxDataWithLegacyPayloadArray),
      operation("removeExpiredInboxMessages", {}, &H::removeExpiredInboxMessages),
      operation("setSyncInProgress:", {P::boolean}, &H::setSyncInProgress),
      operation("syncInboxNotificationsWithCompletionHandler:", {P::completion},
                &H::syncInboxNotificationsWithCompletionHandler),
      operation("syncNotificationFromOlderPlist:", {P::completion}, &H::syncNotificationFromOlderPlist),
      operation("getPreviouslyStoredNotifications", {}, &H::getPreviouslyStoredNotifications),
      operation("getOlderInboxMessagesPlistFile", {}, &H::getOlderInboxMessagesPlistFile),
      operation("removeOldInboxPlistFile", {}, &H::removeOldInboxPlistFile),
      operation("syncNotificationsFromExtension:", {P::completion}, &H::syncNotificationsFromExtension),
      operation("getStoredNotificationsInExtension", {}, &H::getStoredNotificationsInExtension),
      operation("syncNotificationsFromServer:", {P::completion}, &H::syncNotificationsFromServer),
      operation("syncInboxFromServerRequestWithCompletionBlock:", {P::completion},
                &H::syncInboxFromServerRequestWithCompletionBlock),
  };
}

}  // namespace

std::vector<OperationTable> inboxOperations() {
  return {{"ZNInbox", publicCalls()}, {"ZNInboxHandler", handlerOperations()}};
}

}  // namespace zinsim
