#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// Prints dates by a pattern of Unicode's date fields (UTS 35) in English, such as "EEE, dd MMM yyyy 'at' hh:mm a" or
/// "yyyy-MM-dd'T'HH:mm:ss.SSSXXX". Runs of an ASCII letter are fields; one that means nothing stands for itself, as all
/// other characters and text in single quotes do ('' is a quote).
///
/// The calendar is the Gregorian one, before 15 October 1582 the Julian one; weeks begin on Sunday, and the first week
/// of a year or month is the one that holds its first day. Fractions of a second are cut, not rounded. Time zones have
/// their common English names, such as "PST" or "Central European Time"; one without a name, and the places that only
/// the fields V and VVVV name, print their offset ("GMT+5:30", "unk" for V). A date that is not finite prints nothing.
///
/// Thread: any; immutable.
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
  /// `dateFormatterForUsPosixLocaleWithFormat:forGMTTimeZone:`: in GMT, or in the device's zone (the
  /// one that holds when a date is printed).
  static zn::DateFormatter dateFormatterForUsPosixLocaleWithFormat(const std::string& format, bool forGMTTimeZone);
  /// `getDateComponentsFromTimeString:`: "H:m", 0 to 23 and 0 to 59; nothing for any other text.
  static std::optional<zn::TimeOfDay> getDateComponentsFromTimeString(std::string_view text);
  /// `isTime:inSlotWithStartTime:andEndTime:`: both ends belong to the slot; one whose start is after its end crosses
  /// midnight. False where any is missing.
  static bool isTime(const std::optional<zn::TimeOfDay>& time, const std::optional<zn::TimeOfDay>& start,
                     const std::optional<zn::TimeOfDay>& end);
};
