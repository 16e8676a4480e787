#pragma once

#include <memory>

#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerCampaign.h"
#include "ZNPlatform/Export.h"
#include "ZintarCore/GuardedFields.h"

namespace zn {
struct EventOrigin;
}

/// What is handed from the decision to show a campaign to its posting. It belongs to the user who was there when it was
/// made: nothing is posted for it after a user reset or opt-out. Thread: any; every property is guarded.
class ZN_EXPORT ZNDTPostInfo {
 public:
  /// `initWithCampaign:withPayloadToPost:andIsOffline:`
  static std::shared_ptr<ZNDTPostInfo> initWithCampaign(const std::shared_ptr<ZNDeviceTriggerCampaign>& campaign,
                                                        const std::shared_ptr<ZNDeviceTriggerPayload>& payload,
                                                        bool isOffline);

  ZN_PROPERTY(std::shared_ptr<ZNDeviceTriggerCampaign>, rtCampaign, setRtCampaign)
  /// What will be shown.
  ZN_PROPERTY(std::shared_ptr<ZNDeviceTriggerPayload>, finalPayload, setFinalPayload)
  ZN_PROPERTY(bool, isOffline, setIsOffline)  ///< without the server's word on the segment

  ZNDTPostInfo();  ///< without a campaign and contents; such a record is not posted

 private:
  friend class ZNDeviceTriggersHandler;
  struct Fields {
    std::shared_ptr<ZNDeviceTriggerCampaign> rtCampaign;
    std::shared_ptr<ZNDeviceTriggerPayload> finalPayload;
    bool isOffline = false;
    std::shared_ptr<const zn::EventOrigin> origin;  // of the event that it is shown for; never null
  };
  zn::GuardedFields<Fields> fields_;
};
