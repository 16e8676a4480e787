#pragma once

#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerCampaign.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerStatus.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Mutex.h"

namespace zn {

/// Campaigns in the order in which they are considered. A published list is never changed.
using CampaignList = std::vector<std::shared_ptr<ZNDeviceTriggerCampaign>>;
using CampaignListPtr = std::shared_ptr<const CampaignList>;
using StatusList = std::vector<std::shared_ptr<const ZNDeviceTriggerStatus>>;
using StatusListPtr = std::shared_ptr<const StatusList>;

/// A campaign that a synchronisation did not keep.
struct DroppedCampaign {
  std::string name;     ///< for messages: 'campaign "ID"', or its place in the answer
  Value triggerEvent;   ///< nil where it is not known
  std::string because;  ///< for people
};

/// What one synchronisation did not keep. Of many campaigns the first ones are described.
struct DroppedCampaigns {
  static constexpr std::size_t kMostDescribed = 100;

  std::vector<DroppedCampaign> described;
  std::size_t count = 0;
};

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
    /// By the last synchronisation of this process; not archived. null stands for none.
    std::shared_ptr<const zn::DroppedCampaigns> dropped;

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
  /// Changes properties as one step. `change` must not call out. Null records in the lists are left out.
  void update(const std::function<void(Fields& fields)>& change);

  // Each property by its name; what they mean stands at Fields. Null elements of the lists are left out.
  zn::CampaignListPtr deviceTriggers() const { return get(&Fields::deviceTriggers); }
  void setDeviceTriggers(const zn::CampaignListPtr& campaigns) { set(&Fields::deviceTriggers, campaigns); }
  zn::Value deviceTriggerEvents() const { return get(&Fields::deviceTriggerEvents); }
  void setDeviceTriggerEvents(const zn::Value& names) { set(&Fields::deviceTriggerEvents, names); }
  zn::StatusListPtr deviceTriggerStatus() const { return get(&Fields::deviceTriggerStatus); }
  void setDeviceTriggerStatus(const zn::StatusListPtr& statuses) { set(&Fields::deviceTriggerStatus, statuses); }
  zn::Value dndStartTime() const { return get(&Fields::dndStartTime); }
  void setDndStartTime(const zn::Value& time) { set(&Fields::dndStartTime, time); }
  zn::Value dndEndTime() const { return get(&Fields::dndEndTime); }
  void setDndEndTime(const zn::Value& time) { set(&Fields::dndEndTime, time); }
  zn::Value globalDelay() const { return get(&Fields::globalDelay); }
  void setGlobalDelay(const zn::Value& delay) { set(&Fields::globalDelay, delay); }
  zn::Value deviceTriggerLastUpdatedTime() const { return get(&Fields::deviceTriggerLastUpdatedTime); }
  void setDeviceTriggerLastUpdatedTime(const zn::Value& time) { set(&Fields::deviceTriggerLastUpdatedTime, time); }
  zn::Value deviceTriggerLastPostedTime() const { return get(&Fields::deviceTriggerLastPostedTime); }
  void setDeviceTriggerLastPostedTime(const zn::Value& time) { set(&Fields::deviceTriggerLastPostedTime, time); }

  bool waitsForEvent(const zn::Value& name) const;  ///< `deviceTriggerEvents` holds it; allocates nothing
  zn::CampaignList campaignsForEvent(const zn::Value& name) const;
  std::shared_ptr<const ZNDeviceTriggerStatus> statusForCampaign(const zn::Value& campaignID) const;  ///< or null

  const char* archivedClassName() const override { return "ZNDeviceTriggers"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;

 private:
  struct Archived;
  struct CampaignIndex;
  struct StatusIndex;
  std::shared_ptr<const CampaignIndex> campaignIndex() const;
  template <class T>
  T get(T Fields::*field) const {
    zn::Lock lock(mutex_);
    return fields_.*field;
  }
  template <class T>
  void set(T Fields::*field, const T& value) {
    update([&](Fields& fields) { fields.*field = value; });
  }

  mutable zn::Mutex mutex_;
  Fields fields_ ZN_GUARDED_BY(mutex_);
  mutable std::shared_ptr<const CampaignIndex> campaignIndex_ ZN_GUARDED_BY(mutex_);
  std::shared_ptr<const StatusIndex> statusIndex_ ZN_GUARDED_BY(mutex_);
};
