#pragma once

#include <memory>

#include "ZNMessaging/Utils/GuardedFields.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerCampaign.h"
#include "ZNPlatform/Export.h"

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

  std::shared_ptr<ZNDeviceTriggerCampaign> rtCampaign() const { return fields_.get(&Fields::rtCampaign); }
  void setRtCampaign(const std::shared_ptr<ZNDeviceTriggerCampaign>& campaign) {
    fields_.set(&Fields::rtCampaign, campaign);
  }
  /// What will be shown.
  std::shared_ptr<ZNDeviceTriggerPayload> finalPayload() const { return fields_.get(&Fields::finalPayload); }
  void setFinalPayload(const std::shared_ptr<ZNDeviceTriggerPayload>& payload) {
    fields_.set(&Fields::finalPayload, payload);
  }
  bool isOffline() const { return fields_.get(&Fields::isOffline); }  ///< without the server's word on the segment
  void setIsOffline(bool isOffline) { fields_.set(&Fields::isOffline, isOffline); }

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
