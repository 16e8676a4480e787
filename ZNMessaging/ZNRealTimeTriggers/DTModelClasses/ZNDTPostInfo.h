#pragma once

#include <memory>

#include "Platform/Export.h"
#include "ZNMessaging/Utils/ZNMessagingUtils.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerCampaign.h"

/// What is handed from the decision to show a campaign to its posting. Thread: any; immutable.
struct ZN_EXPORT ZNDTPostInfo {
  std::shared_ptr<ZNDeviceTriggerCampaign> rtCampaign;
  std::shared_ptr<const ZNDeviceTriggerPayload> finalPayload;  ///< what will be shown
  bool isOffline = false;                                      ///< posted without the server's word on the segment
  std::uint64_t userGeneration = ZNMessagingUtils::userGeneration();  ///< whose event it was
};
