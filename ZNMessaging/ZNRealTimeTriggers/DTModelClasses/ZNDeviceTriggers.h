#pragma once

#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "Platform/Export.h"
#include "Platform/Foundation/Mutex.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerCampaign.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerStatus.h"

namespace zn {

/// Campaigns in the order in which they are considered. A published list is never changed.
using CampaignList = std::vector<std::shared_ptr<ZNDeviceTriggerCampaign>>;
using CampaignListPtr = std::shared_ptr<const CampaignList>;
using StatusList = std::vector<std::shared_ptr<const ZNDeviceTriggerStatus>>;
using StatusListPtr = std::shared_ptr<const StatusList>;

}  // namespace zn

/// Everything that device triggers keep between launches, and the root object of their file. Times and delays are
/// milliseconds, absolute ones since 1970.
///
/// Thread: any; each property is read and replaced as one step, and `update` changes several as one.
class ZN_EXPORT ZNDeviceTriggers : public zn::Coding {
 public:
  struct Fields {
    zn::CampaignListPtr deviceTriggers;     ///< null stands for no list
    zn::Value deviceTriggerEvents;          ///< array of event names
    zn::StatusListPtr deviceTriggerStatus;  ///< null stands for no list
    zn::Value dndStartTime;                 ///< "H:m", "NA" or ""
    zn::Value dndEndTime;
    zn::Value globalDelay;                   ///< between any two notifications of device triggers
    zn::Value deviceTriggerLastUpdatedTime;  ///< last successful synchronisation
    zn::Value deviceTriggerLastPostedTime;

    const zn::CampaignList& campaigns() const;
    const zn::StatusList& statuses() const;
  };

  /// `init`: nothing stored, a global delay of 10 ms, times 0.
  static std::shared_ptr<ZNDeviceTriggers> init();
  /// `initWithCoder:`: without any of the defaults of `init`.
  static std::shared_ptr<ZNDeviceTriggers> initWithCoder(zn::NSKeyedUnarchiver& coder);
  /// The classes that a device-trigger file holds.
  static std::span<const zn::ArchivedClass> archivedClasses();

  Fields fields() const;  ///< all properties as they stand together
  /// Changes properties as one step. `change` must not call out.
  void update(const std::function<void(Fields& fields)>& change);

  bool waitsForEvent(const zn::Value& name) const;  ///< `deviceTriggerEvents` holds it; allocates nothing
  zn::CampaignList campaignsForEvent(const zn::Value& name) const;
  std::shared_ptr<const ZNDeviceTriggerStatus> statusForCampaign(const zn::Value& campaignID) const;  ///< or null

  const char* archivedClassName() const override { return "ZNDeviceTriggers"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;

 private:
  struct Index;
  std::shared_ptr<const Index> index() const;

  mutable zn::Mutex mutex_;
  Fields fields_ ZN_GUARDED_BY(mutex_);
  std::shared_ptr<const Index> index_ ZN_GUARDED_BY(mutex_);
};
