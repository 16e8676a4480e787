#pragma once

#include <memory>

#include "Platform/Export.h"
#include "ZintarCore/ZNModelObject.h"

/// How often and when a campaign was shown. Times are milliseconds since 1970. Thread: any; immutable once published: a
/// change is a changed copy.
class ZN_EXPORT ZNDeviceTriggerStatus : public ZNModelObject {
 public:
  /// `initWithDictionary:`: from {"campaign_id", "expiry"}; never shown.
  static std::shared_ptr<const ZNDeviceTriggerStatus> initWithDictionary(const zn::Value& dictionary);
  /// `initWithCoder:`
  static std::shared_ptr<ZNDeviceTriggerStatus> initWithCoder(zn::NSKeyedUnarchiver& coder);

  zn::Value campaignID;
  zn::Value numberOfTimesShown;
  zn::Value lastShownTime;  ///< when the notification was to appear; 0: never shown
  zn::Value expiry;         ///< the campaign's

  const char* archivedClassName() const override { return "ZNDeviceTriggerStatus"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;
};
