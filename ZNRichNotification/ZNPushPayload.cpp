#include "ZNRichNotification/ZNPushPayload.h"

#include "ZintarCore/ZNPayloadKeys.h"

ZNPushPayload::ZNPushPayload(zn::Value payload)
    : payload_(std::move(payload)),
      richPush_(ZNRichPush::initWithDictionary(payload_.validObjectForKeyPath("zinFeatures.richPush"))) {}

zn::Value ZNPushPayload::campaignID() const {
  return payload_.validObjectForKeyPath(kNotificationPayloadKeyPathCampaignID);
}
