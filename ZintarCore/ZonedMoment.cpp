#include "ZintarCore/ZonedMoment_p.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "ZNPlatform/Device.h"

namespace zn {

namespace {

// By the abbreviations of the time-zone database. Where daylight time is kept, the generic names are those of the
// place.
struct Zone {
  std::string_view abbreviation;
  int minutesFromGMT;
  ZoneName name;
};

constexpr Zone kZones[] = {
    {"GMT", 0, {"GMT", "Greenwich Mean Time", "", ""}},
    {"UTC", 0, {"UTC", "Coordinated Universal Time", "", ""}},
    {"NST", -210, {"", "Newfoundland Standard Time", "", "Newfoundland Time"}},
    {"NDT", -150, {"", "Newfoundland Daylight Time", "", "Newfoundland Time"}},
    {"AST", -240, {"AST", "Atlantic Standard Time", "AT", "Atlantic Time"}},
    {"ADT", -180, {"ADT", "Atlantic Daylight Time", "AT", "Atlantic Time"}},
    {"EST", -300, {"EST", "Eastern Standard Time", "ET", "Eastern Time"}},
    {"EDT", -240, {"EDT", "Eastern Daylight Time", "ET", "Eastern Time"}},
    {"CST", -360, {"CST", "Central Standard Time", "CT", "Central Time"}},
    {"CDT", -300, {"CDT", "Central Daylight Time", "CT", "Central Time"}},
    {"MST", -420, {"MST", "Mountain Standard Time", "MT", "Mountain Time"}},
    {"MDT", -360, {"MDT", "Mountain Daylight Time", "MT", "Mountain Time"}},
    {"PST", -480, {"PST", "Pacific Standard Time", "PT", "Pacific Time"}},
    {"PDT", -420, {"PDT", "Pacific Daylight Time", "PT", "Pacific Time"}},
    {"AKST", -540, {"AKST", "Alaska Standard Time", "AKT", "Alaska Time"}},
    {"AKDT", -480, {"AKDT", "Alaska Daylight Time", "AKT", "Alaska Time"}},
    {"HST", -600, {"HST", "Hawaii-Aleutian Standard Time", "HAT", "Hawaii-Aleutian Time"}},
    {"HDT", -540, {"HADT", "Hawaii-Aleutian Daylight Time", "HAT", "Hawaii-Aleutian Time"}},
    {"SST", -660, {"", "Samoa Standard Time", "", ""}},
    {"WET", 0, {"", "Western European Standard Time", "", "Western European Time"}},
    {"WEST", 60, {"", "Western European Summer Time", "", "Western European Time"}},
    {"BST", 60, {"", "British Summer Time", "", ""}},
    {"IST", 60, {"", "Irish Standard Time", "", ""}},
    {"CET", 60, {"", "Central European Standard Time", "", "Central European Time"}},
    {"CEST", 120, {"", "Central European Summer Time", "", "Central European Time"}},
    {"EET", 120, {"", "Eastern European Standard Time", "", "Eastern European Time"}},
    {"EEST", 180, {"", "Eastern European Summer Time", "", "Eastern European Time"}},
    {"MSK", 180, {"", "Moscow Standard Time", "", ""}},
    {"WAT", 60, {"", "West Africa Standard Time", "", ""}},
    {"CAT", 120, {"", "Central Africa Time", "", ""}},
    {"EAT", 180, {"", "East Africa Time", "", ""}},
    {"SAST", 120, {"", "South Africa Standard Time", "", ""}},
    {"IST", 120, {"", "Israel Standard Time", "", "Israel Time"}},
    {"IDT", 180, {"", "Israel Daylight Time", "", "Israel Time"}},
    {"PKT", 300, {"", "Pakistan Standard Time", "", ""}},
    {"IST", 330, {"", "India Standard Time", "", ""}},
    {"WIB", 420, {"", "Western Indonesia Time", "", ""}},
    {"WITA", 480, {"", "Central Indonesia Time", "", ""}},
    {"WIT", 540, {"", "Eastern Indonesia Time", "", ""}},
    {"HKT", 480, {"", "Hong Kong Standard Time", "", ""}},
    {"PST", 480, {"", "Philippine Standard Time", "", ""}},
    {"JST", 540, {"", "Japan Standard Time", "", ""}},
    {"KST", 540, {"", "Korean Standard Time", "", ""}},
    {"AWST", 480, {"", "Australian Western Standard Time", "", ""}},
    {"ACST", 570, {"", "Australian Central Standard Time", "", "Central Australia Time"}},
    {"ACDT", 630, {"", "Australian Central Daylight Time", "", "Central Australia Time"}},
    {"AEST", 600, {"", "Australian Eastern Standard Time", "", "Eastern Australia Time"}},
    {"AEDT", 660, {"", "Australian Eastern Daylight Time", "", "Eastern Australia Time"}},
    {"ChST", 600, {"", "Chamorro Standard Time", "", ""}},
    {"NZST", 720, {"", "New Zealand Standard Time", "", "New Zealand Time"}},
    {"NZDT", 780, {"", "New Zealand Daylight Time", "", "New Zealand Time"}},
};

std::int64_t quotient(std::int64_t number, std::int64_t by) { return number / by - (number % by < 0); }
int remainder(std::int64_t number, int by) { return static_cast<int>(number - quotient(number, by) * by); }

// Years are counted from March here, so that the leap day is a year's last.
constexpr std::int64_t kFirstGregorianDay = -141427;
constexpr std::int64_t kGregorianEpoch = -719468;  // 1 March of year 0, in each calendar
constexpr std::int64_t kJulianEpoch = -719470;

struct MarchYear {
  std::int64_t year;
  int day;  // from 0
};

MarchYear marchYear(std::int64_t day) {
  if (day < kFirstGregorianDay) {
    const std::int64_t since = day - kJulianEpoch;
    const int inFour = remainder(since, 1461);
    const int year = (inFour - inFour / 1460) / 365;
    return {quotient(since, 1461) * 4 + year, inFour - year * 365};
  }
  const std::int64_t since = day - kGregorianEpoch;
  const int inEra = remainder(since, 146097);
  const int year = (inEra - inEra / 1460 + inEra / 36524 - inEra / 146096) / 365;
  return {quotient(since, 146097) * 400 + year, inEra - (year * 365 + year / 4 - year / 100)};
}

std::int64_t newYearsDay(std::int64_t year) {
  constexpr std::int64_t kLastJulianNewYear = 1582;
  constexpr int kMarchToJanuary = 306;
  const std::int64_t before = year - 1;
  const std::int64_t days = before * 365 + quotient(before, 4) + kMarchToJanuary;
  if (year <= kLastJulianNewYear) return kJulianEpoch + days;
  return kGregorianEpoch + days - quotient(before, 100) + quotient(before, 400);
}

struct SplitSeconds {
  std::int64_t whole;
  int microseconds;  // from 0
};

/// By the shortest decimal that is this number: the number itself is a little beside the one that was meant.
SplitSeconds split(double seconds) {
  constexpr double kFarthest = 9e18;
  constexpr std::size_t kDigits = 6;
  const double size = std::min(std::abs(seconds), kFarthest);
  std::array<char, 512> text;  // the smallest number has 324 digits
  const char* const end = std::to_chars(text.begin(), text.end(), size, std::chars_format::fixed).ptr;
  const std::string_view all(text.begin(), end);
  std::string digits(all.substr(std::min(all.find('.'), all.size() - 1) + 1, kDigits));
  digits.resize(kDigits, '0');
  int fraction = 0;
  std::from_chars(digits.data(), digits.data() + kDigits, fraction);
  const auto whole = static_cast<std::int64_t>(size);
  if (seconds >= 0) return {whole, fraction};
  return fraction == 0 ? SplitSeconds{-whole, 0} : SplitSeconds{-whole - 1, 1'000'000 - fraction};
}

/// The week that holds a day, counted from the one that holds the first day.
int week(int day, int weekday) { return (day - 1 + remainder(weekday - (day - 1), 7)) / 7 + 1; }

}  // namespace

ZonedMoment::ZonedMoment(Date date, bool inGMT)
    : secondsFromGMT(inGMT ? 0 : Device::current().clock->secondsFromGMT(date)), date_(date), inGMT_(inGMT) {
  const SplitSeconds since1970 = split(date.secondsSince1970);
  const std::int64_t local = since1970.whole + secondsFromGMT;
  microsecond = since1970.microseconds;

  constexpr int kDay = 86400;
  day = quotient(local, kDay);
  const int secondOfDay = remainder(local, kDay);
  hour = secondOfDay / 3600;
  minute = secondOfDay / 60 % 60;
  second = secondOfDay % 60;

  const MarchYear since = marchYear(day);
  const int monthSinceMarch = (5 * since.day + 2) / 153;
  dayOfMonth = since.day - (153 * monthSinceMarch + 2) / 5 + 1;
  month = monthSinceMarch < 10 ? monthSinceMarch + 3 : monthSinceMarch - 9;
  year = since.year + (month <= 2);
  dayOfYear = static_cast<int>(day - newYearsDay(year)) + 1;
  constexpr int kThursday = 4;
  weekday = remainder(day + kThursday, 7);
}

bool ZonedMoment::isInFirstWeekOfNextYear() const { return day + 6 - weekday >= newYearsDay(year + 1); }
std::int64_t ZonedMoment::yearOfWeek() const { return isInFirstWeekOfNextYear() ? year + 1 : year; }
int ZonedMoment::weekOfYear() const { return isInFirstWeekOfNextYear() ? 1 : week(dayOfYear, weekday); }
int ZonedMoment::weekOfMonth() const { return week(dayOfMonth, weekday); }

ZoneName ZonedMoment::zoneName() const {
  const DeviceClock& clock = *Device::current().clock;
  const std::string abbreviation = inGMT_ ? "GMT" : clock.zoneNames(date_).abbreviation;
  const auto found = std::find_if(std::begin(kZones), std::end(kZones), [&](const Zone& zone) {
    return zone.abbreviation == abbreviation && zone.minutesFromGMT * 60L == secondsFromGMT;
  });
  if (found == std::end(kZones)) return {};
  ZoneName name = found->name;
  constexpr double kHalfYear = 184 * 86400.0;
  const auto differsAt = [&](double seconds) { return clock.secondsFromGMT({seconds}) != secondsFromGMT; };
  const bool keepsDaylightTime =
      !inGMT_ && (differsAt(date_.secondsSince1970 - kHalfYear) || differsAt(date_.secondsSince1970 + kHalfYear));
  if (!keepsDaylightTime) {
    name.shortGeneric = name.shortName;
    name.longGeneric = name.longName;
  }
  return name;
}

std::string ZonedMoment::zoneIdentifier() const {
  return inGMT_ ? "GMT" : Device::current().clock->zoneNames(date_).identifier;
}

}  // namespace zn
