#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDTPostInfo.h"

#include "ZNMessaging/Utils/ModuleState.h"

ZNDTPostInfo::ZNDTPostInfo() { fields_.set(&Fields::userGeneration, zn::triggerGeneration()); }

std::shared_ptr<ZNDTPostInfo> ZNDTPostInfo::initWithCampaign(const std::shared_ptr<ZNDeviceTriggerCampaign>& campaign,
                                                             const std::shared_ptr<ZNDeviceTriggerPayload>& payload,
                                                             bool isOffline) {
  auto info = std::make_shared<ZNDTPostInfo>();
  info->setRtCampaign(campaign);
  info->setFinalPayload(payload);
  info->setIsOffline(isOffline);
  return info;
}
