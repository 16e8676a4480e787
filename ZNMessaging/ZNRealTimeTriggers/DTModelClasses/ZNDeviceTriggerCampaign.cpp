#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerCampaign.h"

#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNLogger.h"

const zn::Value& ZNDeviceTriggerCampaign::kActiveValue() {
  static const zn::Value& active = *new zn::Value(kActive);
  return active;
}

int ZNDeviceTriggerCampaign::getDeviceTriggerType(const zn::Value& type) { return type == zn::Value("test") ? 1 : 0; }

std::shared_ptr<ZNDeviceTriggerCampaign> ZNDeviceTriggerCampaign::initWithDictionary(const zn::Value& dictionary) {
  auto campaign = std::make_shared<ZNDeviceTriggerCampaign>();
  zn::guarded("initWithDictionary:", "exception in initializing ZNDeviceTriggerCampaign : %@",
              [&] { campaign->fill(dictionary); });
  return campaign;
}

void ZNDeviceTriggerCampaign::fill(const zn::Value& dictionary) {
  campaignID_ = dictionary.validObjectForKey("campaign_id");
  const zn::Value payload = dictionary.validObjectForKey("payload");
  if (payload.isDictionary()) payload_ = ZNDeviceTriggerPayload::initWithDictionary(payload.mutableCopy());
  triggerEvent_ = dictionary.validObjectForKey("trigger_event_name");
  const zn::Value conditions = dictionary.validObjectForKey("condition");
  if (!conditions.isNil()) attrConditions_ = conditions.mutableCopy();
  campaignType_ = getDeviceTriggerType(dictionary.validObjectForKey("type"));
  status_ = dictionary.validObjectForKey("status");
  expiry_ = dictionary.validObjectForKey("expiry");
  priority_ = dictionary.validObjectForKey("priority");
  maxTimes_ = dictionary.validObjectForKey("max_times");
  campaignDelay_ = dictionary.validObjectForKey("min_delay_between_notifications");
  lastUpdatedTime_ = dictionary.validObjectForKey("last_updated");
  triggerDelay_ = dictionary.validObjectForKey("show_delay");
  maxSyncDelay_ = dictionary.validObjectForKey("max_sync_delay");
  shouldSupportOffline_ = dictionary.validObjectForKey("should_support_offline").boolValue();
  shouldIgnoreDND_ = dictionary.validObjectForKey("should_ignore_dnd").boolValue();
}

std::shared_ptr<const ZNDeviceTriggerPayload> ZNDeviceTriggerCampaign::updated_payload() const {
  zn::Lock lock(mutex_);
  return updatedPayload_;
}

void ZNDeviceTriggerCampaign::updateNotificationPayload(const zn::Value& dictionary) {
  if (!dictionary.isDictionary() || dictionary.isEmpty()) return;
  auto fresh = ZNDeviceTriggerPayload::initWithDictionary(dictionary.mutableCopy());
  zn::Lock lock(mutex_);
  updatedPayload_.swap(fresh);
}

const ZNEventCondition& ZNDeviceTriggerCampaign::condition() const {
  std::call_once(conditionMade_, [this] {
    // The event's name overwrites an entry of that name in the condition.
    zn::Value whole = attrConditions_.isNil() ? zn::Value::dictionary() : attrConditions_;
    if (whole.isDictionary()) whole.setObjectNilHandled(triggerEvent_, "eventName");
    condition_ = ZNEventCondition::initWithDictionary(whole);
  });
  return *condition_;
}

bool ZNDeviceTriggerCampaign::matches(const zn::Value& event, const zn::Value& attributes) const {
  return condition().checkIfAttributeConditionSatisfiedForEvent(event, attributes);
}

bool ZNDeviceTriggerCampaign::isSatisfiedBy(const zn::Value& event, const zn::Value& attributes) const {
  return isActive() && matches(event, attributes);
}

bool ZNDeviceTriggerCampaign::checkIfAttributeConditionSatisfiedForEvent(const zn::Value& event,
                                                                         const zn::Value& attributes) const {
  const auto& logger = ZNLogger::sharedInstance();
  if (!isActive()) {
    logger->logWithType(1, "Device Trigger Campaign(%@) is %@ 🛑", campaignID_, status_);
    return false;
  }
  if (!conditionProblem().empty() && logger->isEnabled() && !problemLogged_.exchange(true)) {
    logger->logWithType(1, "Device Triggers -- Campaign(%@) has a condition that cannot be understood : %@ 🛑",
                        campaignID_, conditionProblem());
  }
  return isSatisfiedBy(event, attributes);
}

void ZNDeviceTriggerCampaign::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  coder.encodeObject(campaignID_, "campaignID");
  coder.encodeObject(payload_, "payload");
  coder.encodeObject(triggerEvent_, "triggerEvent");
  coder.encodeObject(attrConditions_, "attrConditions");
  coder.encodeInt(campaignType_, "campaignType");
  coder.encodeObject(status_, "status");
  coder.encodeObject(expiry_, "expiry");
  coder.encodeObject(maxTimes_, "maxTimes");
  coder.encodeObject(priority_, "priority");
  coder.encodeObject(triggerDelay_, "triggerDelay");
  coder.encodeObject(maxSyncDelay_, "maxSyncDelay");
  coder.encodeObject(campaignDelay_, "campaignDelay");
  coder.encodeObject(lastUpdatedTime_, "lastUpdatedTime");
  coder.encodeBool(shouldSupportOffline_, "shouldSupportOffline");
  coder.encodeBool(shouldIgnoreDND_, "shouldIgnoreDND");
}

std::shared_ptr<ZNDeviceTriggerCampaign> ZNDeviceTriggerCampaign::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto campaign = std::make_shared<ZNDeviceTriggerCampaign>();
  campaign->campaignID_ = coder.decodeObjectForKey("campaignID");
  campaign->payload_ = std::dynamic_pointer_cast<ZNDeviceTriggerPayload>(coder.decodeRecordForKey("payload"));
  campaign->triggerEvent_ = coder.decodeObjectForKey("triggerEvent");
  campaign->attrConditions_ = coder.decodeObjectForKey("attrConditions");
  campaign->campaignType_ = coder.decodeIntForKey("campaignType");
  campaign->status_ = coder.decodeObjectForKey("status");
  campaign->expiry_ = coder.decodeObjectForKey("expiry");
  campaign->maxTimes_ = coder.decodeObjectForKey("maxTimes");
  campaign->priority_ = coder.decodeObjectForKey("priority");
  campaign->triggerDelay_ = coder.decodeObjectForKey("triggerDelay");
  campaign->maxSyncDelay_ = coder.decodeObjectForKey("maxSyncDelay");
  campaign->campaignDelay_ = coder.decodeObjectForKey("campaignDelay");
  campaign->lastUpdatedTime_ = coder.decodeObjectForKey("lastUpdatedTime");
  campaign->shouldSupportOffline_ = coder.decodeBoolForKey("shouldSupportOffline");
  campaign->shouldIgnoreDND_ = coder.decodeBoolForKey("shouldIgnoreDND");
  return campaign;
}
