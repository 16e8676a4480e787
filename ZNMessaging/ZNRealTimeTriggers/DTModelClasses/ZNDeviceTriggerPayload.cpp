#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerPayload.h"

std::shared_ptr<const ZNDeviceTriggerPayload> ZNDeviceTriggerPayload::initWithDictionary(const zn::Value& dictionary) {
  const auto payload = std::make_shared<ZNDeviceTriggerPayload>();
  payload->campaignID_ = dictionary.validObjectForKeyPath("zintar.cid");
  const zn::Value alert = dictionary.validObjectForKeyPath("aps.alert");
  if (alert.isDictionary()) {
    payload->alertTitle_ = alert.validObjectForKey("title");
    payload->alertSubTitle_ = alert.validObjectForKey("subtitle");
    payload->alertBody_ = alert.validObjectForKey("body");
  } else if (alert.isString()) {
    payload->alertBody_ = alert;
    payload->alertTitle_ = "";  // set and empty, not nil
    payload->alertSubTitle_ = "";
  }
  payload->alertSound_ = dictionary.validObjectForKeyPath("aps.sound");
  payload->category_ = dictionary.validObjectForKeyPath("aps.category");
  payload->attachmentURL_ = dictionary.validObjectForKeyPath("zintar.media-attachment");
  payload->pushDict_ = dictionary.mutableCopy();
  return payload;
}

void ZNDeviceTriggerPayload::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  coder.encodeObject(campaignID_, "campaignID");
  coder.encodeObject(alertTitle_, "alertTitle");
  coder.encodeObject(alertSubTitle_, "alertSubTitle");
  coder.encodeObject(alertBody_, "alertBody");
  coder.encodeObject(alertSound_, "alertSound");
  coder.encodeObject(attachmentURL_, "attachmentURL");
  coder.encodeObject(category_, "category");
  coder.encodeObject(pushDict_, "pushDict");
}

std::shared_ptr<ZNDeviceTriggerPayload> ZNDeviceTriggerPayload::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto payload = std::make_shared<ZNDeviceTriggerPayload>();
  payload->campaignID_ = coder.decodeObjectForKey("campaignID");
  payload->alertTitle_ = coder.decodeObjectForKey("alertTitle");
  payload->alertSubTitle_ = coder.decodeObjectForKey("alertSubTitle");
  payload->alertBody_ = coder.decodeObjectForKey("alertBody");
  payload->alertSound_ = coder.decodeObjectForKey("alertSound");
  payload->attachmentURL_ = coder.decodeObjectForKey("attachmentURL");
  payload->category_ = coder.decodeObjectForKey("category");
  payload->pushDict_ = coder.decodeObjectForKey("pushDict");
  return payload;
}
