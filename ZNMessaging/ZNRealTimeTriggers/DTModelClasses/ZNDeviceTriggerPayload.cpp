#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerPayload.h"

#include "ZNMessaging/Utils/ArchivedFields_p.h"
#include "ZintarCore/ZNPayloadKeys.h"

std::shared_ptr<ZNDeviceTriggerPayload> ZNDeviceTriggerPayload::initWithDictionary(const zn::Value& dictionary) {
  const auto payload = std::make_shared<ZNDeviceTriggerPayload>();
  payload->setCampaignID(dictionary.validObjectForKeyPath(kNotificationPayloadKeyPathCampaignID));
  const zn::Value alert = dictionary.validObjectForKeyPath("aps.alert");
  if (alert.isDictionary()) {
    payload->setAlertTitle(alert.validObjectForKey("title"));
    payload->setAlertSubTitle(alert.validObjectForKey("subtitle"));
    payload->setAlertBody(alert.validObjectForKey("body"));
  } else if (alert.isString()) {
    payload->setAlertBody(alert);
    payload->setAlertTitle("");  // set and empty, not nil
    payload->setAlertSubTitle("");
  }
  payload->setAlertSound(dictionary.validObjectForKeyPath("aps.sound"));
  payload->setCategory(dictionary.validObjectForKeyPath("aps.category"));
  payload->setAttachmentURL(dictionary.validObjectForKeyPath("zintar.media-attachment"));
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
