#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerPayload.h"

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

void ZNDeviceTriggerPayload::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  const Fields fields = fields_.all();
  coder.encodeObject(fields.campaignID, "campaignID");
  coder.encodeObject(fields.alertTitle, "alertTitle");
  coder.encodeObject(fields.alertSubTitle, "alertSubTitle");
  coder.encodeObject(fields.alertBody, "alertBody");
  coder.encodeObject(fields.alertSound, "alertSound");
  coder.encodeObject(fields.attachmentURL, "attachmentURL");
  coder.encodeObject(fields.category, "category");
  coder.encodeObject(fields.pushDict, "pushDict");
}

std::shared_ptr<ZNDeviceTriggerPayload> ZNDeviceTriggerPayload::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto payload = std::make_shared<ZNDeviceTriggerPayload>();
  payload->setCampaignID(coder.decodeObjectForKey("campaignID"));
  payload->setAlertTitle(coder.decodeObjectForKey("alertTitle"));
  payload->setAlertSubTitle(coder.decodeObjectForKey("alertSubTitle"));
  payload->setAlertBody(coder.decodeObjectForKey("alertBody"));
  payload->setAlertSound(coder.decodeObjectForKey("alertSound"));
  payload->setAttachmentURL(coder.decodeObjectForKey("attachmentURL"));
  payload->setCategory(coder.decodeObjectForKey("category"));
  payload->setPushDict(coder.decodeObjectForKey("pushDict"));
  return payload;
}
