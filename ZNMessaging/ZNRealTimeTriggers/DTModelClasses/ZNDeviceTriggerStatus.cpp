#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerStatus.h"

std::shared_ptr<const ZNDeviceTriggerStatus> ZNDeviceTriggerStatus::initWithDictionary(const zn::Value& dictionary) {
  auto status = std::make_shared<ZNDeviceTriggerStatus>();
  status->campaignID = dictionary.validObjectForKey("campaign_id");
  status->expiry = dictionary.validObjectForKey("expiry");
  status->lastShownTime = 0;
  status->numberOfTimesShown = 0;
  return status;
}

void ZNDeviceTriggerStatus::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  coder.encodeObject(campaignID, "campaignID");
  coder.encodeObject(expiry, "expiry");
  coder.encodeObject(lastShownTime, "lastShownTime");
  coder.encodeObject(numberOfTimesShown, "numberOfTimesShown");
}

std::shared_ptr<ZNDeviceTriggerStatus> ZNDeviceTriggerStatus::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto status = std::make_shared<ZNDeviceTriggerStatus>();
  status->campaignID = coder.decodeObjectForKey("campaignID");
  status->expiry = coder.decodeObjectForKey("expiry");
  status->lastShownTime = coder.decodeObjectForKey("lastShownTime");
  status->numberOfTimesShown = coder.decodeObjectForKey("numberOfTimesShown");
  return status;
}
