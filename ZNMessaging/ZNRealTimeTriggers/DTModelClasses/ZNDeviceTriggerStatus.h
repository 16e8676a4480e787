#pragma once

#include <memory>

#include "ZNMessaging/Utils/GuardedFields.h"
#include "ZNPlatform/Export.h"
#include "ZintarCore/ZNModelObject.h"

/// How often and when a campaign was shown. Times are milliseconds since 1970. Thread: any; every property is guarded.
/// The store's records are immutable: a change there is a changed copy.
class ZN_EXPORT ZNDeviceTriggerStatus : public ZNModelObject {
 public:
  /// `initWithDictionary:`: from {"campaign_id", "expiry"}; never shown.
  static std::shared_ptr<ZNDeviceTriggerStatus> initWithDictionary(const zn::Value& dictionary);
  /// `initWithCoder:`
  static std::shared_ptr<ZNDeviceTriggerStatus> initWithCoder(zn::NSKeyedUnarchiver& coder);

  zn::Value campaignID() const { return fields_.get(&Fields::campaignID); }
  void setCampaignID(const zn::Value& campaignID) { fields_.set(&Fields::campaignID, campaignID); }
  zn::Value numberOfTimesShown() const { return fields_.get(&Fields::numberOfTimesShown); }
  void setNumberOfTimesShown(const zn::Value& count) { fields_.set(&Fields::numberOfTimesShown, count); }
  zn::Value lastShownTime() const { return fields_.get(&Fields::lastShownTime); }  ///< of appearing; 0: never shown
  void setLastShownTime(const zn::Value& time) { fields_.set(&Fields::lastShownTime, time); }
  zn::Value expiry() const { return fields_.get(&Fields::expiry); }  ///< the campaign's
  void setExpiry(const zn::Value& expiry) { fields_.set(&Fields::expiry, expiry); }

  const char* archivedClassName() const override { return "ZNDeviceTriggerStatus"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;

 private:
  struct Archived;
  struct Fields {
    zn::Value campaignID;
    zn::Value numberOfTimesShown;
    zn::Value lastShownTime;
    zn::Value expiry;
  };
  zn::GuardedFields<Fields> fields_;
};
