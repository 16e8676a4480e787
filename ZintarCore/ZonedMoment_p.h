#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// What English speakers call a time zone at some time of the year. Empty where they say its offset from GMT instead.
struct ZoneName {
  std::string_view shortName;     ///< "PST"
  std::string_view longName;      ///< "Pacific Standard Time"
  std::string_view shortGeneric;  ///< "PT": whether daylight time holds or not
  std::string_view longGeneric;   ///< "Pacific Time"
};

/// A moment taken apart in GMT or in the device's time zone: in the Gregorian calendar, and in the Julian one before
/// 15 October 1582. Weeks begin on Sunday; the first week of a year or month is the one that holds its first day.
class ZonedMoment {
 public:
  /// The date must be finite; moments too far away for whole days count as the last or first one that is near enough.
  ZonedMoment(Date date, bool inGMT);

  std::int64_t yearOfWeek() const;  ///< that the week belongs to
  int weekOfYear() const;
  int weekOfMonth() const;

  ZoneName zoneName() const;
  std::string zoneIdentifier() const;  ///< "America/Los_Angeles", or empty where it is not known

  long secondsFromGMT;
  std::int64_t day;   ///< since 1970
  std::int64_t year;  ///< 0 is 1 BC
  int month;          ///< from 1
  int dayOfMonth;
  int dayOfYear;
  int weekday;  ///< Sunday is 0
  int hour, minute, second, microsecond;

 private:
  bool isInFirstWeekOfNextYear() const;

  Date date_;
  bool inGMT_;
};

}  // namespace zn
