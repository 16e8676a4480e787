#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerStatus.h"

#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/TriggerNumbers_p.h"

std::shared_ptr<ZNDeviceTriggerStatus> ZNDeviceTriggerStatus::initWithDictionary(const zn::Value& dictionary) {
  auto status = std::make_shared<ZNDeviceTriggerStatus>();
  status->setCampaignID(dictionary.validObjectForKey("campaign_id"));
  status->setExpiry(dictionary.validObjectForKey("expiry"));
  status->setLastShownTime(0);
  status->setNumberOfTimesShown(0);
  return status;
}

void ZNDeviceTriggerStatus::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  const Fields fields = fields_.all();
  coder.encodeObject(fields.campaignID, "campaignID");
  coder.encodeObject(fields.expiry, "expiry");
  coder.encodeObject(fields.lastShownTime, "lastShownTime");
  coder.encodeObject(fields.numberOfTimesShown, "numberOfTimesShown");
}

std::shared_ptr<ZNDeviceTriggerStatus> ZNDeviceTriggerStatus::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto status = std::make_shared<ZNDeviceTriggerStatus>();
  status->setCampaignID(coder.decodeObjectForKey("campaignID"));
  status->setExpiry(zn::numberOrNil(coder.decodeObjectForKey("expiry")));
  status->setLastShownTime(zn::numberOrNil(coder.decodeObjectForKey("lastShownTime")));
  status->setNumberOfTimesShown(zn::numberOrNil(coder.decodeObjectForKey("numberOfTimesShown")));
  return status;
}
