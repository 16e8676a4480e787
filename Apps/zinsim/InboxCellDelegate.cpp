#include "Apps/zinsim/InboxCellDelegate.h"

#include <algorithm>

#include "Apps/zinsim/Fields.h"

namespace zinsim {

namespace {

const std::string kWithData = "inboxCellSelectedWithData:";
const std::string kWithPushDict = "inboxCellSelectedWithPushDict:";

}  // namespace

InboxCellDelegate::InboxCellDelegate(Session& session, std::vector<std::string> implements)
    : session_(session), implements_(std::move(implements)) {
  for (const std::string& selector : implements_) {
    if (selector == kWithData || selector == kWithPushDict) continue;
    throw UsageError("an inbox cell delegate has no operation \"" + selector + "\"");
  }
}

void InboxCellDelegate::called(const std::string& selector, const zn::Value& argument) const {
  if (std::find(implements_.begin(), implements_.end(), selector) == implements_.end()) return;
  session_.print("delegate", selector, {{"arguments", zn::Value::array({orNull(argument)})}});
}

void InboxCellDelegate::inboxCellSelectedWithData(const zn::Value& data) { called(kWithData, data); }
void InboxCellDelegate::inboxCellSelectedWithPushDict(const zn::Value& payload) { called(kWithPushDict, payload); }

}  // namespace zinsim
