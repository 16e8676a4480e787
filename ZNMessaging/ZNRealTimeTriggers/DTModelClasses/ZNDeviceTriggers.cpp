#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggers.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "ZNMessaging/Utils/ArchivedFields_p.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/TriggerNumbers_p.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"

namespace {

/// Readers go through the lists without looking.
template <class List>
std::shared_ptr<const List> withoutNull(const std::shared_ptr<const List>& list) {
  if (!list || std::find(list->begin(), list->end(), nullptr) == list->end()) return list;
  auto copy = std::make_shared<List>(*list);
  std::erase(*copy, nullptr);
  return copy;
}

/// A new list of the same records becomes the one that was there, so that what was made of that stays in use.
template <class List>
void keepSame(const std::shared_ptr<const List>& before, std::shared_ptr<const List>& now) {
  if (before && now && *before == *now) now = before;
}
void keepSame(const zn::Value& before, zn::Value& now) {
  if (zn::archiveAlike(before, now)) now = before;
}

}  // namespace

const zn::CampaignList& ZNDeviceTriggers::Fields::campaigns() const {
  static const zn::NeverDestroyed<zn::CampaignList> none;
  return deviceTriggers ? *deviceTriggers : *none;
}

const zn::StatusList& ZNDeviceTriggers::Fields::statuses() const {
  static const zn::NeverDestroyed<zn::StatusList> none;
  return deviceTriggerStatus ? *deviceTriggerStatus : *none;
}

/// Ways into the campaigns, so that an event costs nothing for the campaigns of other events. Never changed once made;
/// a trigger event that is set later makes a new one.
struct ZNDeviceTriggers::CampaignIndex {
  explicit CampaignIndex(const Fields& fields) : eventChanges(ZNDeviceTriggerCampaign::triggerEventChanges()) {
    for (const auto& campaign : fields.campaigns()) byEvent[campaign->triggerEvent()].push_back(campaign);
    for (const zn::Value& name : fields.deviceTriggerEvents.elements()) eventNames.insert(name);
  }
  std::unordered_map<zn::Value, zn::CampaignList, zn::ValueHash> byEvent;  // in the list's order
  std::unordered_set<zn::Value, zn::ValueHash> eventNames;
  const std::uint64_t eventChanges;
};

/// Likewise for how often campaigns were shown: apart, because every showing makes a new one.
struct ZNDeviceTriggers::StatusIndex {
  explicit StatusIndex(const Fields& fields) {
    byCampaign.reserve(fields.statuses().size());
    for (const auto& status : fields.statuses()) byCampaign.try_emplace(status->campaignID(), status);
  }
  std::unordered_map<zn::Value, std::shared_ptr<const ZNDeviceTriggerStatus>, zn::ValueHash> byCampaign;  // first
};

std::shared_ptr<ZNDeviceTriggers> ZNDeviceTriggers::init() {
  auto triggers = std::make_shared<ZNDeviceTriggers>();
  triggers->update([](Fields& fields) {
    fields.deviceTriggers = std::make_shared<const zn::CampaignList>();
    fields.deviceTriggerEvents = zn::Value::array().mutableCopy();
    fields.deviceTriggerStatus = std::make_shared<const zn::StatusList>();
    fields.dndStartTime = "";
    fields.dndEndTime = "";
    fields.globalDelay = 10;
    fields.deviceTriggerLastUpdatedTime = 0;
    fields.deviceTriggerLastPostedTime = 0;
  });
  return triggers;
}

std::span<const zn::ArchivedClass> ZNDeviceTriggers::archivedClasses() {
  static constexpr zn::ArchivedClass classes[] = {{"ZNDeviceTriggers", zn::decoded<ZNDeviceTriggers>},
                                                  {"ZNDeviceTriggerCampaign", zn::decoded<ZNDeviceTriggerCampaign>},
                                                  {"ZNDeviceTriggerPayload", zn::decoded<ZNDeviceTriggerPayload>},
                                                  {"ZNDeviceTriggerStatus", zn::decoded<ZNDeviceTriggerStatus>}};
  return classes;
}

ZNDeviceTriggers::Fields ZNDeviceTriggers::fields() const {
  zn::Lock lock(mutex_);
  return fields_;
}

void ZNDeviceTriggers::update(const std::function<void(Fields&)>& change) {
  Fields before;  // ends after the lock, with all that the change let go
  std::shared_ptr<const CampaignIndex> oldCampaignIndex;
  std::shared_ptr<const StatusIndex> oldStatusIndex;
  zn::Lock lock(mutex_);
  before = fields_;
  const auto reindex = [&]() ZN_REQUIRES(mutex_) {
    fields_.deviceTriggers = withoutNull(fields_.deviceTriggers);
    fields_.deviceTriggerStatus = withoutNull(fields_.deviceTriggerStatus);
    keepSame(before.deviceTriggers, fields_.deviceTriggers);
    keepSame(before.deviceTriggerStatus, fields_.deviceTriggerStatus);
    keepSame(before.deviceTriggerEvents, fields_.deviceTriggerEvents);
    if (!campaignIndex_ || before.deviceTriggers != fields_.deviceTriggers ||
        before.deviceTriggerEvents.identity() != fields_.deviceTriggerEvents.identity()) {
      oldCampaignIndex = std::exchange(campaignIndex_, std::make_shared<const CampaignIndex>(fields_));
    }
    if (!statusIndex_ || before.deviceTriggerStatus != fields_.deviceTriggerStatus) {
      oldStatusIndex = std::exchange(statusIndex_, std::make_shared<const StatusIndex>(fields_));
    }
  };
  try {
    change(fields_);
  } catch (...) {
    reindex();  // what was changed before the failure stays changed
    throw;
  }
  reindex();
}

std::shared_ptr<const ZNDeviceTriggers::CampaignIndex> ZNDeviceTriggers::campaignIndex() const {
  std::shared_ptr<const CampaignIndex> old;  // ends after the lock
  zn::Lock lock(mutex_);
  if (campaignIndex_ && campaignIndex_->eventChanges != ZNDeviceTriggerCampaign::triggerEventChanges()) {
    old = std::exchange(campaignIndex_, std::make_shared<const CampaignIndex>(fields_));
  }
  return campaignIndex_;
}

bool ZNDeviceTriggers::waitsForEvent(const zn::Value& name) const {
  const auto current = campaignIndex();
  return current && current->eventNames.contains(name);
}

zn::CampaignList ZNDeviceTriggers::campaignsForEvent(const zn::Value& name) const {
  const auto current = campaignIndex();
  if (!current) return {};
  const auto found = current->byEvent.find(name);
  return found == current->byEvent.end() ? zn::CampaignList{} : found->second;
}

std::shared_ptr<const ZNDeviceTriggerStatus> ZNDeviceTriggers::statusForCampaign(const zn::Value& campaignID) const {
  std::shared_ptr<const StatusIndex> current;
  {
    zn::Lock lock(mutex_);
    current = statusIndex_;
  }
  if (!current) return nullptr;
  const auto found = current->byCampaign.find(campaignID);
  return found == current->byCampaign.end() ? nullptr : found->second;
}

struct ZNDeviceTriggers::Archived {
  static constexpr std::tuple fields{
      zn::ArchivedField{"deviceTriggers", &Fields::deviceTriggers},
      zn::ArchivedField{"deviceTriggerEvents", &Fields::deviceTriggerEvents},
      zn::ArchivedField{"deviceTriggerStatus", &Fields::deviceTriggerStatus},
      zn::ArchivedField{"DTdndStartTime", &Fields::dndStartTime},
      zn::ArchivedField{"DTdndEndTime", &Fields::dndEndTime},
      zn::ArchivedField{"DTglobalDelay", &Fields::globalDelay, zn::holdsNumber},
      zn::ArchivedField{"DTLastUpdateTime", &Fields::deviceTriggerLastUpdatedTime, zn::holdsNumber},
      zn::ArchivedField{"DTLastPostTime", &Fields::deviceTriggerLastPostedTime, zn::holdsNumber}};
};

void ZNDeviceTriggers::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  zn::encodeFields(coder, fields(), Archived::fields);
}

std::shared_ptr<ZNDeviceTriggers> ZNDeviceTriggers::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto triggers = std::make_shared<ZNDeviceTriggers>();
  Fields read;
  zn::decodeFields(coder, read, Archived::fields);
  triggers->update([&](Fields& fields) { fields = read; });
  return triggers;
}
