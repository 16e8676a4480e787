#include "ZNMessaging/Utils/CampaignPush_p.h"

#include "ZNMessaging/Constants/ZNMessagingConstants.h"

bool zn::isVisiblePushOfCampaign(const Value& zintar) {
  if (!zintar.validObjectForKey(kNotificationPayloadKeySilentPush).isNil()) return false;
  return !zintar.validObjectForKey(kNotificationPayloadKeyCampaignID).isNil();
}
