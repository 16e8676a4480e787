#include "ZintarCore/ZNDateUtils.h"

#include <charconv>

#include "ZintarCore/DatePattern_p.h"

namespace {

std::optional<int> number(std::string_view text, int limit) {
  int value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc() || result.ptr != text.data() + text.size()) return std::nullopt;
  return value >= 0 && value < limit ? std::optional(value) : std::nullopt;
}

}  // namespace

std::string zn::DateFormatter::stringFromDate(Date date) const { return dateByPattern(pattern_, date, inGMT_); }

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
