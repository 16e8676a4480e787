#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDTPostInfo.h"

#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/EventOrigin_p.h"

ZNDTPostInfo::ZNDTPostInfo() {
  fields_.set(&Fields::origin, std::make_shared<const zn::EventOrigin>(zn::EventOrigin::here()));
}

std::shared_ptr<ZNDTPostInfo> ZNDTPostInfo::initWithCampaign(const std::shared_ptr<ZNDeviceTriggerCampaign>& campaign,
                                                             const std::shared_ptr<ZNDeviceTriggerPayload>& payload,
                                                             bool isOffline) {
  auto info = std::make_shared<ZNDTPostInfo>();
  info->setRtCampaign(campaign);
  info->setFinalPayload(payload);
  info->setIsOffline(isOffline);
  return info;
}
