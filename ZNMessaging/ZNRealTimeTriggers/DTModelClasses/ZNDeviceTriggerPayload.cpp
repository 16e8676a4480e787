#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerPayload.h"

#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/Utils/ArchivedFields_p.h"

std::shared_ptr<ZNDeviceTriggerPayload> ZNDeviceTriggerPayload::initWithDictionary(const zn::Value& dictionary) {
  namespace key = zn::payload;
  const auto payload = std::make_shared<ZNDeviceTriggerPayload>();
  const zn::Value zintar = dictionary.validObjectForKey(kNotificationPayloadKeyZintar);
  const zn::Value aps = dictionary.validObjectForKey(key::aps);
  const zn::Value alert = aps.validObjectForKey(key::alert);
  payload->setCampaignID(zintar.validObjectForKey(kNotificationPayloadKeyCampaignID));
  if (alert.isDictionary()) {
    payload->setAlertTitle(alert.validObjectForKey(key::title));
    payload->setAlertSubTitle(alert.validObjectForKey(key::subtitle));
    payload->setAlertBody(alert.validObjectForKey(key::body));
  } else if (alert.isString()) {
    payload->setAlertBody(alert);
    payload->setAlertTitle("");  // set and empty, not nil
    payload->setAlertSubTitle("");
  }
  payload->setAlertSound(aps.validObjectForKey(key::sound));
  payload->setCategory(aps.validObjectForKey(key::category));
  payload->setAttachmentURL(zintar.validObjectForKey(kNotificationPayloadKeyMediaAttachmentURL));
  payload->setPushDict(dictionary.mutableCopy());
  return payload;
}

struct ZNDeviceTriggerPayload::Archived {
  static constexpr std::tuple fields{zn::ArchivedField{"campaignID", &Fields::campaignID},
                                     zn::ArchivedField{"alertTitle", &Fields::alertTitle},
                                     zn::ArchivedField{"alertSubTitle", &Fields::alertSubTitle},
                                     zn::ArchivedField{"alertBody", &Fields::alertBody},
                                     zn::ArchivedField{"alertSound", &Fields::alertSound},
                                     zn::ArchivedField{"attachmentURL", &Fields::attachmentURL},
                                     zn::ArchivedField{"category", &Fields::category},
                                     zn::ArchivedField{"pushDict", &Fields::pushDict}};
};

void ZNDeviceTriggerPayload::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  zn::encodeFields(coder, fields_.all(), Archived::fields);
}

std::shared_ptr<ZNDeviceTriggerPayload> ZNDeviceTriggerPayload::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto payload = std::make_shared<ZNDeviceTriggerPayload>();
  payload->fields_.update([&](Fields& fields) { zn::decodeFields(coder, fields, Archived::fields); });
  return payload;
}
