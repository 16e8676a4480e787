#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerPayload.h"

#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/Utils/ArchivedFields_p.h"

std::shared_ptr<ZNDeviceTriggerPayload> ZNDeviceTriggerPayload::initWithDictionary(const zn::Value& dictionary) {
  const auto payload = std::make_shared<ZNDeviceTriggerPayload>();
  payload->fields_.replace(fieldsOf(dictionary));
  return payload;
}

ZNDeviceTriggerPayload::Fields ZNDeviceTriggerPayload::fieldsOf(const zn::Value& dictionary) {
  namespace key = zn::payload;
  const zn::Value& zintar = dictionary[kNotificationPayloadKeyZintar];
  const zn::Value& aps = dictionary[key::aps];
  const zn::Value& alert = aps[key::alert];
  Fields fields;
  fields.campaignID = zintar.validObjectForKey(kNotificationPayloadKeyCampaignID);
  if (alert.isDictionary()) {
    fields.alertTitle = alert.validObjectForKey(key::title);
    fields.alertSubTitle = alert.validObjectForKey(key::subtitle);
    fields.alertBody = alert.validObjectForKey(key::body);
  } else if (alert.isString()) {
    fields.alertBody = alert;
    fields.alertTitle = "";  // set and empty, not nil
    fields.alertSubTitle = "";
  }
  fields.alertSound = aps.validObjectForKey(key::sound);
  fields.category = aps.validObjectForKey(key::category);
  fields.attachmentURL = zintar.validObjectForKey(kNotificationPayloadKeyMediaAttachmentURL);
  fields.pushDict = dictionary.mutableCopy();
  return fields;
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
  fields_.read([&](const Fields& fields) { zn::encodeFields(coder, fields, Archived::fields); });
}

bool ZNDeviceTriggerPayload::isAsSent(const zn::Value& dictionary) const {
  const Fields sent = fieldsOf(dictionary);
  return fields_.read([&](const Fields& fields) { return zn::archiveAlike(fields, sent, Archived::fields); });
}

std::shared_ptr<ZNDeviceTriggerPayload> ZNDeviceTriggerPayload::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto payload = std::make_shared<ZNDeviceTriggerPayload>();
  payload->fields_.update([&](Fields& fields) { zn::decodeFields(coder, fields, Archived::fields); });
  return payload;
}
