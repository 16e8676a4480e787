#include "ZintarCore/DatePattern_p.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>

#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZintarCore/ZonedMoment_p.h"

// The field letters of Unicode Technical Standard 35, with the texts of its English locale. They stand here instead of
// in a library for internationalisation because linking one made the start of every host about a seventh longer, for a
// handful of English names.

namespace zn {

namespace {

constexpr std::array<std::string_view, 12> kMonths{"January",   "February", "March",    "April",
                                                   "May",       "June",     "July",     "August",
                                                   "September", "October",  "November", "December"};
constexpr std::array<std::string_view, 7> kWeekdays{"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                    "Thursday", "Friday", "Saturday"};
constexpr std::array<std::string_view, 4> kQuarters{"1st quarter", "2nd quarter", "3rd quarter", "4th quarter"};

/// At least that many digits.
std::string padded(std::int64_t number, std::size_t digits) {
  std::string text = std::to_string(std::abs(number));
  if (text.size() < digits) text.insert(0, digits - text.size(), '0');
  return number < 0 ? "-" + text : text;
}

/// A year; two letters ask for its last two digits.
std::string year(std::int64_t number, std::size_t count) { return padded(count == 2 ? number % 100 : number, count); }

/// The name in full, its first letter, its first two, or else an abbreviation of three.
std::string name(std::string_view full, std::size_t count) {
  return std::string(count == 4 ? full : full.substr(0, count == 5 ? 1 : count == 6 ? 2 : 3));
}

/// Calls `field` with each run of one letter, and `text` with what stands for itself.
template <class Field, class Text>
void walk(std::string_view pattern, const Field& field, const Text& text) {
  bool isQuoted = false;
  for (std::size_t at = 0; at < pattern.size();) {
    const char c = pattern[at];
    if (c == '\'') {
      const bool isDoubled = pattern.substr(at).starts_with("''");
      if (isDoubled) text(c);
      isQuoted ^= !isDoubled;
      at += isDoubled ? 2 : 1;
    } else if (isQuoted || !isAsciiLetter(c)) {
      text(c);
      ++at;
    } else {
      const std::size_t end = std::min(pattern.find_first_not_of(c, at), pattern.size());
      field(c, end - at);
      at = end;
    }
  }
}

bool hasField(std::string_view pattern, char letter) {
  bool found = false;
  walk(
      pattern, [&](char c, std::size_t) { found |= c == letter; }, [](char) {});
  return found;
}

using Field = std::optional<std::string>;

Field yearField(char letter, std::size_t count, const ZonedMoment& at) {
  const bool isCommonEra = at.year > 0;
  const std::int64_t yearOfEra = isCommonEra ? at.year : 1 - at.year;
  const int quarter = (at.month - 1) / 3;
  if (letter == 'G' && count == 4) return isCommonEra ? "Anno Domini" : "Before Christ";
  if (letter == 'G') return std::string(isCommonEra ? "AD" : "BC", count == 5 ? 1 : 2);
  if (letter == 'y' || letter == 'U') return year(yearOfEra, count);  // years with names belong to other calendars
  if (letter == 'Y') return year(at.yearOfWeek(), count);
  if (letter == 'u' || letter == 'r') return padded(at.year, count);
  if (letter == 'Q' || letter == 'q') {
    if (count == 3) return "Q" + std::to_string(quarter + 1);
    if (count == 4) return std::string(kQuarters[static_cast<std::size_t>(quarter)]);
    return padded(quarter + 1, count == 2 ? 2 : 1);
  }
  if (letter == 'M' || letter == 'L') {
    if (count < 3) return padded(at.month, count);
    return name(kMonths[static_cast<std::size_t>(at.month - 1)], count == 6 ? 3 : count);
  }
  if (letter == 'l') return "";  // marks a leap month, which this calendar does not have
  if (letter == 'w') return padded(at.weekOfYear(), count);
  if (letter == 'W') return padded(at.weekOfMonth(), count);
  return std::nullopt;
}

Field dayField(char letter, std::size_t count, const ZonedMoment& at) {
  constexpr std::int64_t kJulianDayOf1970 = 2440588;
  if (letter == 'd') return padded(at.dayOfMonth, count);
  if (letter == 'D') return padded(at.dayOfYear, count);
  if (letter == 'F') return padded((at.dayOfMonth - 1) / 7 + 1, count);
  if (letter == 'g') return padded(at.day + kJulianDayOf1970, count);
  if (letter != 'e' && letter != 'c' && letter != 'E') return std::nullopt;
  if (letter != 'E' && count < 3) return padded(at.weekday + 1, letter == 'e' ? count : 1);
  return name(kWeekdays[static_cast<std::size_t>(at.weekday)], count);
}

/// Noon is a moment: of the units that the pattern shows.
Field dayPeriodField(char letter, std::size_t count, const ZonedMoment& at, std::string_view pattern) {
  if (letter != 'a' && letter != 'b' && letter != 'B') return std::nullopt;
  const bool isNoon =
      at.hour == 12 && (at.minute == 0 || !hasField(pattern, 'm')) && (at.second == 0 || !hasField(pattern, 's'));
  if (letter != 'a' && isNoon) return count == 5 ? "n" : "noon";
  if (letter != 'B') return std::string(at.hour < 12 ? count == 5 ? "a" : "AM" : count == 5 ? "p" : "PM");
  if (at.hour < 6 || at.hour >= 21) return "at night";
  return at.hour < 12 ? "in the morning" : at.hour < 18 ? "in the afternoon" : "in the evening";
}

Field clockField(char letter, std::size_t count, const ZonedMoment& at) {
  if (letter == 'h') return padded((at.hour + 11) % 12 + 1, count);
  if (letter == 'H') return padded(at.hour, count);
  if (letter == 'K') return padded(at.hour % 12, count);
  if (letter == 'k') return padded((at.hour + 23) % 24 + 1, count);
  if (letter == 'm') return padded(at.minute, count);
  if (letter == 's') return padded(at.second, count);
  if (letter == 'A') {
    return padded(((at.hour * 60 + at.minute) * 60 + at.second) * 1000 + at.microsecond / 1000, count);
  }
  if (letter != 'S') return std::nullopt;
  std::string digits = padded(at.microsecond, 6);
  digits.resize(count, '0');
  return digits;
}

/// Two digits for each unit: hours and minutes, with `full` also seconds where there are any.
std::string isoOffset(long seconds, std::string_view separator, bool full) {
  const long size = std::abs(seconds);
  std::string text = (seconds < 0 ? "-" : "+") + padded(size / 3600, 2);
  text.append(separator).append(padded(size / 60 % 60, 2));
  if (full && size % 60 != 0) text.append(separator).append(padded(size % 60, 2));
  return text;
}

std::string offsetFromGMT(long seconds, bool isLong) {
  if (seconds == 0) return "GMT";
  if (isLong) return "GMT" + isoOffset(seconds, ":", true);
  const long size = std::abs(seconds);
  std::string text = (seconds < 0 ? "GMT-" : "GMT+") + std::to_string(size / 3600);
  if (size % 3600 != 0) text += ":" + padded(size / 60 % 60, 2);
  if (size % 60 != 0) text += ":" + padded(size % 60, 2);
  return text;
}

Field offsetField(char letter, std::size_t count, long seconds) {
  if (letter == 'O' || (letter == 'Z' && count == 4)) return offsetFromGMT(seconds, count >= 4);
  if (letter == 'Z' && count < 4) return isoOffset(seconds, "", true);
  if (letter != 'Z' && letter != 'X' && letter != 'x') return std::nullopt;
  if (letter != 'x' && seconds == 0) return "Z";
  if (count == 1) return isoOffset(seconds, "", false).substr(0, seconds % 3600 / 60 == 0 ? 3 : 5);
  return isoOffset(seconds, count == 3 || count == 5 ? ":" : "", count > 3);
}

/// What has no name is told by its offset.
Field zoneField(char letter, std::size_t count, const ZonedMoment& at) {
  const bool isLong = count >= 4;
  std::string_view known;
  if (letter == 'z' || letter == 'v') {
    const ZoneName zone = at.zoneName();
    if (letter == 'z') known = isLong ? zone.longName : zone.shortName;
    if (letter == 'v') known = isLong ? zone.longGeneric : zone.shortGeneric;
  } else if (letter != 'V') {
    return offsetField(letter, count, at.secondsFromGMT);
  } else if (count < 4) {
    const std::string identifier = at.zoneIdentifier();
    if (count == 2) return identifier.empty() ? "Etc/Unknown" : identifier;
    if (count == 1) return "unk";
    const auto slash = identifier.rfind('/');
    if (slash == std::string::npos || identifier.starts_with("Etc/")) return "Unknown City";
    std::string city = identifier.substr(slash + 1);
    std::replace(city.begin(), city.end(), '_', ' ');
    return city;
  }
  return known.empty() ? offsetFromGMT(at.secondsFromGMT, isLong) : std::string(known);
}

}  // namespace

std::string dateByPattern(std::string_view pattern, Date date, bool inGMT) {
  if (!std::isfinite(date.secondsSince1970)) return {};
  const ZonedMoment at(date, inGMT);
  std::string out;
  const auto field = [&](char letter, std::size_t count) {
    Field text = yearField(letter, count, at);
    if (!text) text = dayField(letter, count, at);
    if (!text) text = clockField(letter, count, at);
    if (!text) text = dayPeriodField(letter, count, at, pattern);
    if (!text) text = zoneField(letter, count, at);
    out += text ? *text : std::string(count, letter);
  };
  walk(pattern, field, [&](char c) { out += c; });
  return out;
}

}  // namespace zn
