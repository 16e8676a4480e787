// Operations of the inbox's public calls.

#include "Apps/zinsim/Operations.h"
#include "ZNMessaging/ZNInbox/ZNInbox.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxViewController.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"

namespace zinsim {

using P = Parameter;
using A = const Arguments&;

const std::vector<Operation>& inboxOperations() {
  static const zn::NeverDestroyed table(std::vector<Operation>{
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
  });
  return *table;
}

}  // namespace zinsim
