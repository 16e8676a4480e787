#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggers.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/TriggerNumbers_p.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"

namespace {

/// The records of one class in an archived array; null where there is no array.
template <class Record, class List>
std::shared_ptr<const List> decodeList(zn::NSKeyedUnarchiver& coder, const char* key) {
  bool isNil = false;
  auto records = coder.decodeRecordsForKey(key, &isNil);
  if (isNil) return nullptr;
  auto list = std::make_shared<List>();
  for (auto& record : records) {
    if (auto typed = std::dynamic_pointer_cast<Record>(std::move(record))) list->push_back(std::move(typed));
  }
  return list;
}

template <class List>
void encodeList(zn::NSKeyedArchiver& coder, const std::shared_ptr<const List>& list, const char* key) {
  if (!list) return coder.encodeObject(zn::nil, key);
  const std::vector<std::shared_ptr<const zn::Coding>> records(list->begin(), list->end());
  coder.encodeObjects(records, true, key);
}

/// Readers go through the lists without looking.
template <class List>
std::shared_ptr<const List> withoutNull(const std::shared_ptr<const List>& list) {
  if (!list || std::find(list->begin(), list->end(), nullptr) == list->end()) return list;
  auto copy = std::make_shared<List>(*list);
  std::erase(*copy, nullptr);
  return copy;
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

/// Ways into the lists, so that an event costs nothing for the campaigns of other events. Never changed once made; a
/// trigger event that is set later makes a new one.
struct ZNDeviceTriggers::Index {
  explicit Index(const Fields& fields) : eventChanges(ZNDeviceTriggerCampaign::triggerEventChanges()) {
    for (const auto& campaign : fields.campaigns()) campaignsByEvent[campaign->triggerEvent()].push_back(campaign);
    for (const auto& status : fields.statuses()) statusByCampaign.try_emplace(status->campaignID(), status);
    for (const zn::Value& name : fields.deviceTriggerEvents.elements()) eventNames.insert(name);
  }
  std::unordered_map<zn::Value, zn::CampaignList, zn::ValueHash> campaignsByEvent;  // in the list's order
  std::unordered_map<zn::Value, std::shared_ptr<const ZNDeviceTriggerStatus>, zn::ValueHash> statusByCampaign;  // first
  std::unordered_set<zn::Value, zn::ValueHash> eventNames;
  const std::uint64_t eventChanges;
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
  static constexpr zn::ArchivedClass classes[] = {
      {"ZNDeviceTriggers",
       [](zn::NSKeyedUnarchiver& coder) -> std::shared_ptr<zn::Coding> {
         return ZNDeviceTriggers::initWithCoder(coder);
       }},
      {"ZNDeviceTriggerCampaign",
       [](zn::NSKeyedUnarchiver& coder) -> std::shared_ptr<zn::Coding> {
         return ZNDeviceTriggerCampaign::initWithCoder(coder);
       }},
      {"ZNDeviceTriggerPayload",
       [](zn::NSKeyedUnarchiver& coder) -> std::shared_ptr<zn::Coding> {
         return ZNDeviceTriggerPayload::initWithCoder(coder);
       }},
      {"ZNDeviceTriggerStatus", [](zn::NSKeyedUnarchiver& coder) -> std::shared_ptr<zn::Coding> {
         return ZNDeviceTriggerStatus::initWithCoder(coder);
       }}};
  return classes;
}

ZNDeviceTriggers::Fields ZNDeviceTriggers::fields() const {
  zn::Lock lock(mutex_);
  return fields_;
}

void ZNDeviceTriggers::update(const std::function<void(Fields&)>& change) {
  Fields before;  // ends after the lock, with all that the change let go
  std::shared_ptr<const Index> oldIndex;
  zn::Lock lock(mutex_);
  before = fields_;
  const auto reindex = [&]() ZN_REQUIRES(mutex_) {
    fields_.deviceTriggers = withoutNull(fields_.deviceTriggers);
    fields_.deviceTriggerStatus = withoutNull(fields_.deviceTriggerStatus);
    const bool isCurrent = index_ && before.deviceTriggers == fields_.deviceTriggers &&
                           before.deviceTriggerStatus == fields_.deviceTriggerStatus &&
                           before.deviceTriggerEvents.identity() == fields_.deviceTriggerEvents.identity();
    if (!isCurrent) oldIndex = std::exchange(index_, std::make_shared<const Index>(fields_));
  };
  try {
    change(fields_);
  } catch (...) {
    reindex();  // what was changed before the failure stays changed
    throw;
  }
  reindex();
}

std::shared_ptr<const ZNDeviceTriggers::Index> ZNDeviceTriggers::index() const {
  std::shared_ptr<const Index> old;  // ends after the lock
  zn::Lock lock(mutex_);
  if (index_ && index_->eventChanges != ZNDeviceTriggerCampaign::triggerEventChanges()) {
    old = std::exchange(index_, std::make_shared<const Index>(fields_));
  }
  return index_;
}

void ZNDeviceTriggers::setDeviceTriggers(const zn::CampaignListPtr& campaigns) {
  set(&Fields::deviceTriggers, campaigns);
}

void ZNDeviceTriggers::setDeviceTriggerStatus(const zn::StatusListPtr& statuses) {
  set(&Fields::deviceTriggerStatus, statuses);
}

bool ZNDeviceTriggers::waitsForEvent(const zn::Value& name) const {
  const auto current = index();
  return current && current->eventNames.contains(name);
}

zn::CampaignList ZNDeviceTriggers::campaignsForEvent(const zn::Value& name) const {
  const auto current = index();
  if (!current) return {};
  const auto found = current->campaignsByEvent.find(name);
  return found == current->campaignsByEvent.end() ? zn::CampaignList{} : found->second;
}

std::shared_ptr<const ZNDeviceTriggerStatus> ZNDeviceTriggers::statusForCampaign(const zn::Value& campaignID) const {
  const auto current = index();
  if (!current) return nullptr;
  const auto found = current->statusByCampaign.find(campaignID);
  return found == current->statusByCampaign.end() ? nullptr : found->second;
}

void ZNDeviceTriggers::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  const Fields all = fields();
  encodeList(coder, all.deviceTriggers, "deviceTriggers");
  coder.encodeObject(all.deviceTriggerEvents, "deviceTriggerEvents");
  encodeList(coder, all.deviceTriggerStatus, "deviceTriggerStatus");
  coder.encodeObject(all.dndStartTime, "DTdndStartTime");
  coder.encodeObject(all.dndEndTime, "DTdndEndTime");
  coder.encodeObject(all.globalDelay, "DTglobalDelay");
  coder.encodeObject(all.deviceTriggerLastUpdatedTime, "DTLastUpdateTime");
  coder.encodeObject(all.deviceTriggerLastPostedTime, "DTLastPostTime");
}

std::shared_ptr<ZNDeviceTriggers> ZNDeviceTriggers::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto triggers = std::make_shared<ZNDeviceTriggers>();
  Fields read;
  read.deviceTriggers = decodeList<ZNDeviceTriggerCampaign, zn::CampaignList>(coder, "deviceTriggers");
  read.deviceTriggerEvents = coder.decodeObjectForKey("deviceTriggerEvents");
  read.deviceTriggerStatus = decodeList<ZNDeviceTriggerStatus, zn::StatusList>(coder, "deviceTriggerStatus");
  read.dndStartTime = coder.decodeObjectForKey("DTdndStartTime");
  read.dndEndTime = coder.decodeObjectForKey("DTdndEndTime");
  read.globalDelay = zn::numberOrNil(coder.decodeObjectForKey("DTglobalDelay"));
  read.deviceTriggerLastUpdatedTime = zn::numberOrNil(coder.decodeObjectForKey("DTLastUpdateTime"));
  read.deviceTriggerLastPostedTime = zn::numberOrNil(coder.decodeObjectForKey("DTLastPostTime"));
  triggers->update([&](Fields& fields) { fields = read; });
  return triggers;
}
