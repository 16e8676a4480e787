#include "Apps/zinsim/HostDelegate.h"

#include <algorithm>

#include "Apps/zinsim/Fields.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zinsim {

namespace {

const std::string kWithPairs = "notificationClickedWithScreenName:andKVPairs:";
const std::string kWithPayload = "notificationClickedWithScreenName:KVPairs:andPushPayload:";

bool contains(const std::vector<std::string>& list, const std::string& text) {
  return std::find(list.begin(), list.end(), text) != list.end();
}

}  // namespace

HostDelegate::HostDelegate(Session& session, std::vector<std::string> implements, std::vector<std::string> throws)
    : session_(session), implements_(std::move(implements)), throws_(std::move(throws)) {
  for (const auto* list : {&implements_, &throws_}) {
    for (const std::string& selector : *list) {
      if (selector == kWithPairs || selector == kWithPayload) continue;
      throw UsageError("a messaging delegate has no operation \"" + selector + "\"");
    }
  }
}

void HostDelegate::called(const std::string& selector, const std::vector<zn::Value>& arguments) const {
  if (!contains(implements_, selector)) return;
  zn::Value list = zn::Value::array();
  for (const zn::Value& argument : arguments) list.append(orNull(argument));
  session_.print("delegate", selector, {{"arguments", list}});
  if (contains(throws_, selector)) throw zn::Exception(selector + " raised an exception");
}

void HostDelegate::notificationClickedWithScreenName(const zn::Value& screenName, const zn::Value& kvPairs) {
  called(kWithPairs, {screenName, kvPairs});
}

void HostDelegate::notificationClickedWithScreenNameKVPairsAndPushPayload(const zn::Value& screenName,
                                                                          const zn::Value& kvPairs,
                                                                          const zn::Value& pushPayload) {
  called(kWithPayload, {screenName, kvPairs, pushPayload});
}

}  // namespace zinsim
