#include "ZintarCore/ZNDateUtils.h"

#include <charconv>
#include <chrono>
#include <cmath>

#include "Platform/Device.h"
#include "Platform/Foundation/Format.h"

namespace {

std::string twoDigits(unsigned number) { return (number < 10 ? "0" : "") + std::to_string(number); }

/// A date taken apart, in some zone's local time.
struct Parts {
  explicit Parts(double seconds) {
    constexpr double kFarthest = 2e11;  // beyond the years that the calendar reckons with
    const auto whole =
        std::chrono::seconds(std::abs(seconds) < kFarthest ? static_cast<std::int64_t>(std::floor(seconds)) : 0);
    const std::chrono::sys_seconds time(whole);
    const auto day = std::chrono::floor<std::chrono::days>(time);
    date = std::chrono::year_month_day(day);
    clock = std::chrono::hh_mm_ss(time - day);
  }
  std::chrono::year_month_day date;
  std::chrono::hh_mm_ss<std::chrono::seconds> clock;
};

std::string field(std::string_view pattern, const Parts& parts, std::size_t& length) {
  constexpr const char* kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                     "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const auto month = static_cast<unsigned>(parts.date.month());
  const auto is = [&](std::string_view name) {
    if (!pattern.starts_with(name)) return false;
    length = name.size();
    return true;
  };
  if (is("yyyy")) return std::to_string(static_cast<int>(parts.date.year()));
  if (is("MMM")) return kMonths[month - 1];
  if (is("MM")) return twoDigits(month);
  if (is("dd")) return twoDigits(static_cast<unsigned>(parts.date.day()));
  if (is("HH")) return twoDigits(static_cast<unsigned>(parts.clock.hours().count()));
  if (is("mm")) return twoDigits(static_cast<unsigned>(parts.clock.minutes().count()));
  if (is("ss")) return twoDigits(static_cast<unsigned>(parts.clock.seconds().count()));
  length = 1;
  return std::string(pattern.substr(0, 1));
}

std::optional<int> number(std::string_view text, int limit) {
  int value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return std::nullopt;
  return value >= 0 && value < limit ? std::optional(value) : std::nullopt;
}

}  // namespace

std::string zn::DateFormatter::stringFromDate(Date date) const {
  const long offset = inGMT_ ? 0 : Device::current().clock->secondsFromGMT(date);
  const Parts parts(date.secondsSince1970 + static_cast<double>(offset));
  std::string text;
  for (std::string_view rest = pattern_; !rest.empty();) {
    std::size_t length = 1;
    text += field(rest, parts, length);
    rest.remove_prefix(length);
  }
  return text;
}

bool ZNDateUtils::isDate1(zn::Date date1, zn::Date date2) { return date1 > date2; }

zn::DateFormatter ZNDateUtils::dateFormatterForUsPosixLocaleWithFormat(const std::string& format, bool forGMTTimeZone) {
  return {format, forGMTTimeZone};
}

std::optional<zn::TimeOfDay> ZNDateUtils::getDateComponentsFromTimeString(std::string_view text) {
  const auto colon = text.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const auto hour = number(text.substr(0, colon), 24);
  const auto minute = number(text.substr(colon + 1), 60);
  if (!hour || !minute) return std::nullopt;
  return zn::TimeOfDay{*hour, *minute};
}

bool ZNDateUtils::isTime(const std::optional<zn::TimeOfDay>& time, const std::optional<zn::TimeOfDay>& start,
                         const std::optional<zn::TimeOfDay>& end) {
  if (!time || !start || !end) return false;
  return *start <= *end ? *start <= *time && *time <= *end : *start <= *time || *time <= *end;
}
