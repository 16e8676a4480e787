#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerStatus.h"

#include "ZNMessaging/Utils/ArchivedFields_p.h"

#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/TriggerNumbers_p.h"

std::shared_ptr<ZNDeviceTriggerStatus> ZNDeviceTriggerStatus::initWithDictionary(const zn::Value& dictionary) {
  auto status = std::make_shared<ZNDeviceTriggerStatus>();
  status->setCampaignID(dictionary.validObjectForKey("campaign_id"));
  status->setExpiry(dictionary.validObjectForKey("expiry"));
  status->setLastShownTime(0);
  status->setNumberOfTimesShown(0);
  return status;
}

struct ZNDeviceTriggerStatus::Archived {
  static constexpr std::tuple fields{
      zn::ArchivedField{"campaignID", &Fields::campaignID},
      zn::ArchivedField{"expiry", &Fields::expiry, zn::holdsNumber},
      zn::ArchivedField{"lastShownTime", &Fields::lastShownTime, zn::holdsNumber},
      zn::ArchivedField{"numberOfTimesShown", &Fields::numberOfTimesShown, zn::holdsNumber}};
};

void ZNDeviceTriggerStatus::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  fields_.read([&](const Fields& fields) { zn::encodeFields(coder, fields, Archived::fields); });
}

std::shared_ptr<ZNDeviceTriggerStatus> ZNDeviceTriggerStatus::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto status = std::make_shared<ZNDeviceTriggerStatus>();
  status->fields_.update([&](Fields& fields) { zn::decodeFields(coder, fields, Archived::fields); });
  return status;
}
