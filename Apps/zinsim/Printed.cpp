#include "Apps/zinsim/Printed.h"

#include "Apps/zinsim/Session.h"
#include "ZNPlatform/Foundation/Format.h"

namespace zinsim {

using zn::Value;

namespace {

Value seconds(const Value& date) { return date.isDate() ? Value(date.date().secondsSince1970) : orNull(date); }

}  // namespace

Value printed(const std::shared_ptr<ZNInboxModel>& entry) {
  if (!entry) return zn::nil;
  return Value::dictionary({{"body", orNull(entry->notificationBody())},
                            {"cid", orNull(entry->campaignID())},
                            {"clicked", seconds(entry->clickedDate())},
                            {"expiry", seconds(entry->inboxExpiryDate())},
                            {"isRead", entry->isRead()},
                            {"received", seconds(entry->receivedDate())},
                            {"title", orNull(entry->notificationTitle())}});
}

Value printed(const zn::InboxListPtr& list) {
  if (!list) return zn::nil;
  Value entries = Value::array();
  for (const auto& entry : *list) entries.append(printed(entry));
  return entries;
}

Value printed(const zn::CampaignList& campaigns) {
  Value ids = Value::array();
  for (const auto& campaign : campaigns) ids.append(orNull(campaign->campaignID()));
  return ids;
}

Value printed(const zn::CampaignListPtr& campaigns) { return campaigns ? printed(*campaigns) : zn::nil; }

Value printed(const std::shared_ptr<const ZNDeviceTriggerStatus>& status) {
  if (!status) return zn::nil;
  return Value::dictionary({{"cid", orNull(status->campaignID())},
                            {"expiry", orNull(status->expiry())},
                            {"lastShown", orNull(status->lastShownTime())},
                            {"shown", orNull(status->numberOfTimesShown())}});
}

Value printed(const UIFont& font) {
  return font.name.empty() ? zn::nil : Value(font.name + " " + zn::numberText(font.size));
}

}  // namespace zinsim
