#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Export.h"
#include "Platform/Foundation/Value.h"

namespace zn {

/// Prints dates in a fixed pattern of "yyyy", "MM", "MMM" (English month, three letters), "dd", "HH", "mm" and "ss";
/// all else stands for itself. Thread: any; immutable.
class ZN_EXPORT DateFormatter {
 public:
  DateFormatter(std::string pattern, bool inGMT) : pattern_(std::move(pattern)), inGMT_(inGMT) {}
  std::string stringFromDate(Date date) const;
  const std::string& pattern() const { return pattern_; }

 private:
  std::string pattern_;
  bool inGMT_;
};

/// A time of day.
struct TimeOfDay {
  int hour = 0;
  int minute = 0;
  friend auto operator<=>(const TimeOfDay&, const TimeOfDay&) = default;
};

}  // namespace zn

/// Dates and times of day for the library family. Thread: any.
class ZN_EXPORT ZNDateUtils {
 public:
  /// `isDate1:laterToDate2:`: strictly later; a date is not later than itself.
  static bool isDate1(zn::Date date1, zn::Date date2);
  /// `dateFormatterForUsPosixLocaleWithFormat:forGMTTimeZone:`: in GMT, or in the device's zone.
  static zn::DateFormatter dateFormatterForUsPosixLocaleWithFormat(const std::string& format, bool forGMTTimeZone);
  /// `getDateComponentsFromTimeString:`: "H:m", 0 to 23 and 0 to 59; nothing for any other text.
  static std::optional<zn::TimeOfDay> getDateComponentsFromTimeString(std::string_view text);
  /// `isTime:inSlotWithStartTime:andEndTime:`: both ends belong to the slot; one whose start is after its end crosses
  /// midnight. False where any is missing.
  static bool isTime(const std::optional<zn::TimeOfDay>& time, const std::optional<zn::TimeOfDay>& start,
                     const std::optional<zn::TimeOfDay>& end);
};
