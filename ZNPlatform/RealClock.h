#pragma once

#include "ZNPlatform/Device.h"

namespace zn {

/// A clock in the time zone that `tzset` last read; GMT for moments beyond any calendar.
class ZN_EXPORT ClockInZoneOfProcess : public DeviceClock {
 public:
  long secondsFromGMT(Date at) const override;
  TimeZoneNames zoneNames(Date at) const override;
};

/// The system's clock.
class ZN_EXPORT RealClock : public ClockInZoneOfProcess {
 public:
  RealClock();
  Date now() const override;
};

}  // namespace zn
