#pragma once

#include <cstdint>
#include <memory>

#include "ZNPlatform/Export.h"
#include "ZintarCore/GuardedFields.h"
#include "ZintarCore/ZNModelObject.h"

/// How often and when a campaign was shown. Times are milliseconds since 1970. Thread: any; every property is guarded.
/// The store's records are immutable: a change there is a changed copy.
class ZN_EXPORT ZNDeviceTriggerStatus : public ZNModelObject {
 public:
  /// `initWithDictionary:`: from {"campaign_id", "expiry"}; never shown.
  static std::shared_ptr<ZNDeviceTriggerStatus> initWithDictionary(const zn::Value& dictionary);
  /// `initWithCoder:`
  static std::shared_ptr<ZNDeviceTriggerStatus> initWithCoder(zn::NSKeyedUnarchiver& coder);

  ZN_PROPERTY(zn::Value, campaignID, setCampaignID)
  ZN_PROPERTY(zn::Value, numberOfTimesShown, setNumberOfTimesShown)
  ZN_PROPERTY(zn::Value, lastShownTime, setLastShownTime)  ///< of appearing; 0: never shown
  ZN_PROPERTY(zn::Value, expiry, setExpiry)                ///< the campaign's

  const char* archivedClassName() const override { return "ZNDeviceTriggerStatus"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;
  std::uint64_t revision() const override { return fields_.revision(); }

 private:
  struct Archived;
  struct Fields {
    zn::Value campaignID;
    zn::Value numberOfTimesShown;
    zn::Value lastShownTime;
    zn::Value expiry;
  };
  zn::RevisedFields<Fields> fields_;
};
