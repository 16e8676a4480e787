#include "Apps/zinsim/Delegates.h"

#include <algorithm>

#include "Apps/zinsim/Shapes.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxCellSelectedDelegate.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zinsim {

using zn::Value;

namespace {

using Selectors = std::vector<std::string>;

const std::string kWithPairs = "notificationClickedWithScreenName:andKVPairs:";
const std::string kWithPayload = "notificationClickedWithScreenName:KVPairs:andPushPayload:";
const std::string kWithData = "inboxCellSelectedWithData:";
const std::string kWithPushDict = "inboxCellSelectedWithPushDict:";

bool contains(const Selectors& list, const std::string& selector) {
  return std::find(list.begin(), list.end(), selector) != list.end();
}

void checkSelectors(const Selectors& list, const Selectors& known, const char* delegate) {
  for (const std::string& selector : list) {
    if (!contains(known, selector)) throw UsageError(delegate + (" has no operation \"" + selector) + "\"");
  }
}

/// Which operations a delegate has, and what happens when they are called.
struct Implementation {
  void called(const std::string& selector, const std::vector<Value>& arguments) const {
    if (!contains(implements, selector)) return;
    Value list = Value::array();
    for (const Value& argument : arguments) list.append(orNull(argument));
    session.print("delegate", selector, {{"arguments", list}});
    if (contains(throws, selector)) throw zn::Exception(selector + " raised an exception");
  }

  Session& session;
  const Selectors implements;
  const Selectors throws;
};

struct MessagingDelegate : Implementation, ZNMessagingDelegate {
  explicit MessagingDelegate(Implementation implementation) : Implementation(std::move(implementation)) {}

  void notificationClickedWithScreenName(const Value& screenName, const Value& kvPairs) override {
    called(kWithPairs, {screenName, kvPairs});
  }
  void notificationClickedWithScreenNameKVPairsAndPushPayload(const Value& screenName, const Value& kvPairs,
                                                              const Value& pushPayload) override {
    called(kWithPayload, {screenName, kvPairs, pushPayload});
  }
};

struct InboxCellDelegate : Implementation, ZNInboxCellSelectedDelegate {
  explicit InboxCellDelegate(Implementation implementation) : Implementation(std::move(implementation)) {}

  void inboxCellSelectedWithData(const Value& data) override { called(kWithData, {data}); }
  void inboxCellSelectedWithPushDict(const Value& payload) override { called(kWithPushDict, {payload}); }
};

}  // namespace

std::shared_ptr<ZNMessagingDelegate> messagingDelegate(Session& session, Selectors implements, Selectors throws) {
  for (const Selectors& list : {implements, throws}) {
    checkSelectors(list, {kWithPairs, kWithPayload}, "a messaging delegate");
  }
  return std::make_shared<MessagingDelegate>(Implementation{session, std::move(implements), std::move(throws)});
}

std::shared_ptr<ZNInboxCellSelectedDelegate> inboxCellDelegate(Session& session, Selectors implements) {
  checkSelectors(implements, {kWithData, kWithPushDict}, "an inbox cell delegate");
  return std::make_shared<InboxCellDelegate>(Implementation{session, std::move(implements), {}});
}

}  // namespace zinsim
