// Operations of the inbox: its public calls and its store.

#include "Apps/zinsim/Operations.h"
#include "ZNMessaging/ZNInbox/ZNInbox.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"

namespace zinsim {

namespace P = shape;
using A = const Arguments&;

namespace {

std::vector<Operation> publicCalls() {
  return {
      operation("initializeInboxOnController:", {P::nothing},
                [](A) { return className(ZNInbox::initializeInboxOnController(nullptr), "ZNInboxViewController"); }),
      operation("getInboxMessagesWithCompletionBlock:", {P::completion},
                [](A a) {
                  const auto completion = a.valueCompletion(0);
                  if (!completion) return ZNInbox::getInboxMessagesWithCompletionBlock(nullptr);
                  ZNInbox::getInboxMessagesWithCompletionBlock([&](const auto& list) { completion(printed(list)); });
                }),
      operation("fetchInboxMessagesWithCompletion:", {P::completion},
                [](A a) { ZNInbox::fetchInboxMessagesWithCompletion(a.booleanCompletion(0)); }),
      operation("markInboxNotificationClickedWithCampaignID:", {P::text},
                [](A a) { ZNInbox::markInboxNotificationClickedWithCampaignID(a.value(0)); }),
      operation("processInboxNotificationWithCampaignID:", {P::text},
                [](A a) { ZNInbox::processInboxNotificationWithCampaignID(a.value(0)); }),
      operation("trackInboxNotificationClickWithCampaignID:", {P::text},
                [](A a) { ZNInbox::trackInboxNotificationClickWithCampaignID(a.value(0)); }),
      operation("removeInboxMessages", {}, [](A) { ZNInbox::removeInboxMessages(); }),
      operation("removeMessageWithCampaignID:", {P::text},
                [](A a) { ZNInbox::removeMessageWithCampaignID(a.value(0)); }),
      operation("getAllNotificationCount", {}, [](A) { return ZNInbox::getAllNotificationCount(); }),
      operation("getUnreadNotifictionCount", {}, [](A) { return ZNInbox::getUnreadNotifictionCount(); }),
      operation("dateFormatterWithFormat:", {P::text},
                [](A a) {
                  const std::string format(a.value(0).string());
                  const bool isMade = ZNInbox::dateFormatterWithFormat(format).pattern() == format;
                  return isMade ? zn::Value("NSDateFormatter") : zn::nil;
                }),
      operation("defaultTextFont", {}, [](A) { return ZNInbox::defaultTextFont(); }),
      operation("defaultUnreadTextFont", {}, [](A) { return ZNInbox::defaultUnreadTextFont(); }),
  };
}

ZNInboxHandler& inbox() { return *ZNInboxHandler::sharedInstance(); }

std::vector<Operation> questions() {
  return {
      operation("sharedInstance", {}, [](A) { return className(ZNInboxHandler::sharedInstance(), "ZNInboxHandler"); }),
      operation("getFilePathForInbox", {}, [](A) { return inbox().getFilePathForInbox(); }),
      operation("getAllNotificationModelObjs", {}, [](A) { return inbox().getAllNotificationModelObjs(); }),
      operation("getAllNotificationPayloads", {}, [](A) { return inbox().getAllNotificationPayloads(); }),
      operation("getUnreadNotificationPayloads", {}, [](A) { return inbox().getUnreadNotificationPayloads(); }),
      operation("getReadNotificationPayloads", {}, [](A) { return inbox().getReadNotificationPayloads(); }),
      operation("getAllNotificationCount", {}, [](A) { return inbox().getAllNotificationCount(); }),
      operation("getUnreadNotifictionCount", {}, [](A) { return inbox().getUnreadNotifictionCount(); }),
      operation("fetchInboxEntryForCampaignID:", {P::text},
                [](A a) { return inbox().fetchInboxEntryForCampaignID(a.value(0)); }),
      operation("defaultTextFont", {}, [](A) { return ZNInboxHandler::defaultTextFont(); }),
      operation("defaultUnreadTextFont", {}, [](A) { return ZNInboxHandler::defaultUnreadTextFont(); }),
      operation("inboxData", {}, [](A) { return className(inbox().inboxData(), "ZNInboxData"); }),
      operation("syncInProgress", {}, [](A) { return inbox().syncInProgress(); }),
  };
}

std::vector<Operation> changes() {
  return {
      operation("updateInboxStorage", {}, [](A) { static_cast<void>(inbox().updateInboxStorage()); }),
      operation("markInboxNotificationReadForCampaignID:", {P::text},
                [](A a) { inbox().markInboxNotificationReadForCampaignID(a.value(0)); }),
      operation("trackInboxNotificationClickForCampaignID:", {P::text},
                [](A a) { inbox().trackInboxNotificationClickForCampaignID(a.value(0)); }),
      operation("updateClickedNotificationInStorageWithPayload:", {P::dictionary},
                [](A a) { inbox().updateClickedNotificationInStorageWithPayload(a.value(0)); }),
      operation("removeNotificationForCampaignID:", {P::text},
                [](A a) { inbox().removeNotificationForCampaignID(a.value(0)); }),
      operation("clearInboxData", {}, [](A) { inbox().clearInboxData(); }),
      operation("resetInboxDataWithLegacyPayloadArray:", {P::array},
                [](A a) { inbox().resetInboxDataWithLegacyPayloadArray(a.value(0)); }),
      operation("removeExpiredInboxMessages", {}, [](A) { inbox().removeExpiredInboxMessages(); }),
      operation("setSyncInProgress:", {P::boolean}, [](A a) { inbox().setSyncInProgress(a.boolean(0)); }),
  };
}

/// Prints both that it is called with, as an array.
ZNInboxHandler::MessagesCompletion messagesCompletion(const std::function<void(const zn::Value&)>& print) {
  if (!print) return nullptr;
  return [print](bool success, const zn::Value& messages) {
    print(zn::Value::array({success, messages.isNil() ? zn::Value::null() : messages}));
  };
}

std::vector<Operation> synchronisation() {
  return {
      operation("syncInboxNotificationsWithCompletionHandler:", {P::completion},
                [](A a) { inbox().syncInboxNotificationsWithCompletionHandler(a.booleanCompletion(0)); }),
      operation("syncNotificationFromOlderPlist:", {P::completion},
                [](A a) { inbox().syncNotificationFromOlderPlist(a.booleanCompletion(0)); }),
      operation("getPreviouslyStoredNotifications", {}, [](A) { return inbox().getPreviouslyStoredNotifications(); }),
      operation("getOlderInboxMessagesPlistFile", {}, [](A) { return inbox().getOlderInboxMessagesPlistFile(); }),
      operation("removeOldInboxPlistFile", {}, [](A) { inbox().removeOldInboxPlistFile(); }),
      operation("syncNotificationsFromExtension:", {P::completion},
                [](A a) { inbox().syncNotificationsFromExtension(a.booleanCompletion(0)); }),
      operation("getStoredNotificationsInExtension", {}, [](A) { return inbox().getStoredNotificationsInExtension(); }),
      operation("syncNotificationsFromServer:", {P::completion},
                [](A a) { inbox().syncNotificationsFromServer(a.booleanCompletion(0)); }),
      operation(
          "syncInboxFromServerRequestWithCompletionBlock:", {P::completion},
          [](A a) { inbox().syncInboxFromServerRequestWithCompletionBlock(messagesCompletion(a.valueCompletion(0))); }),
  };
}

}  // namespace

std::vector<OperationTable> inboxOperations() {
  return {{"ZNInbox", publicCalls()}, {"ZNInboxHandler", joined({questions(), changes(), synchronisation()})}};
}

}  // namespace zinsim
