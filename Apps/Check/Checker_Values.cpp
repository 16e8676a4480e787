#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>

#include "Apps/Check/Checker.h"
#include "Apps/NearMiss.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/IsoDate_p.h"
#include "ZNPlatform/Foundation/NSURL.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace apps::check {

namespace {

constexpr double kSecondsPerDay = 86400;
constexpr double kOldestMoment = 5e8;  // 1985; what is less was meant as something else

const char* wanted(const KeyType& of) {
  const std::string_view type = of.name;
  if (type == "text") return "text";
  if (type == "link") return "a link as text";
  if (type == "flag") return "true or false";
  if (type == "objects") return "an array of objects";
  if (type == "object" || type == "map" || type == "condition") return "an object";
  if (type == "moment") return of.of == "s" ? "seconds since 1970" : "milliseconds since 1970";
  return "a number";
}

std::string wanted(const Key& key) {
  std::string text;
  for (const KeyType& type : key.types) text += (text.empty() ? "" : " or ") + std::string(wanted(type));
  return text;
}

/// Whether a value of that JSON type is one at all; what stands in it is looked at afterwards.
bool fits(const Item& item, const Key& key, const KeyType& type) {
  if (type.name == "any") return true;
  if (type.name == "text" || type.name == "link") return item.is(Type::text);
  if (type.name == "flag") return item.is(Type::boolean) || item.is(Type::number) || item.is(Type::text);
  if (type.name == "objects") return item.is(Type::array);
  if (type.name == "object" || type.name == "map" || type.name == "condition") return item.is(Type::object);
  if (type.name == "moment" || type.name == "hhmm") return item.is(Type::number) || item.is(Type::text);
  return item.is(Type::number) || (!key.isStrict && numberIn(item));
}

std::string shownPeriod(double seconds) {
  constexpr double kSecondsPerHour = 3600;
  const bool isLong = seconds >= kSecondsPerDay;
  return shownNumber(std::floor(seconds / (isLong ? kSecondsPerDay : kSecondsPerHour))) + (isLong ? " days" : " hours");
}

std::string_view withoutBlanksAround(std::string_view text) {
  constexpr const char* kBlanks = " \t\r\n";
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::string write(const std::string& what) { return "write " + what; }

}  // namespace

std::string inQuotes(std::string_view text) {
  constexpr std::size_t kLongest = 60;
  const bool isLong = text.size() > kLongest;
  return "\"" + zn::sanitizedUtf8(text.substr(0, kLongest)) + (isLong ? "…\"" : "\"");
}

std::string shownType(const Item& item) {
  switch (item.type()) {
    case Type::object:
      return "an object";
    case Type::array:
      return "an array";
    case Type::text:
      return "text";
    case Type::number:
      return "a number";
    default:
      return std::string(item.written());
  }
}

std::string shownValue(const Item& item) {
  if (item.is(Type::text)) return inQuotes(item.text());
  constexpr std::size_t kLongest = 40;
  const std::string_view written = item.written();
  return std::string(written.substr(0, kLongest)) + (written.size() > kLongest ? "…" : "");
}

std::string shownDate(double seconds) {
  constexpr double kLatest = 9000.0 * 366 * kSecondsPerDay;
  if (!(std::abs(seconds) < kLatest)) {
    return "in the year " + shownNumber(1970 + std::floor(seconds / (365.2425 * kSecondsPerDay)));
  }
  const std::chrono::sys_days day{std::chrono::days{static_cast<long>(std::floor(seconds / kSecondsPerDay))}};
  const std::chrono::year_month_day date{day};
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(date.year()), static_cast<unsigned>(date.month()),
                static_cast<unsigned>(date.day()));
  return text;
}

std::string shownNumber(double number) { return zn::numberText(number); }

std::optional<double> numberIn(const Item& item) {
  if (!item.is(Type::number) && !item.is(Type::text)) return std::nullopt;
  const std::string text = item.is(Type::text) ? item.text() : std::string(item.written());
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number)) return std::nullopt;
  return number;
}

void Checker::value(const Item& item, const Key& key) {
  if (!item.isPresent() || key.types.empty()) return;
  const auto& types = key.types;
  const auto type =
      std::find_if(types.begin(), types.end(), [&](const KeyType& each) { return fits(item, key, each); });
  if (type == types.end()) return wrongType(item, key);
  if (type->name == "flag") return flag(item, key);
  if (type->name == "moment") return moment(item, key, type->of);
  if (type->name == "period") return period(item, key, type->of);
  if (type->name == "hhmm") return timeOfDay(item, key);
  if (type->name == "link") return link(item, key);
  if (type->name == "text") return text(item, key);
  if (type->name == "condition") return condition(item);
  if (type->of == "campaign") {
    for (const Item& each : inside(item)) campaign(each);
    return repeatedCampaigns(item);
  }
  if (type->of == "payload") return payload(item);
  if (type->name == "object" && !type->of.empty()) {
    object(item, type->of);
    if (type->of == "segment") localPayload(item["payload"]);
    return;
  }
  if (type->of == "card") repeatedCards(item);
  for (Item each = item.firstInside(); each && !type->of.empty(); each = each.next(item)) {
    if (each.is(Type::object)) {
      object(each, type->of);
      if (type->of == "action") cardAction(each);
      if (type->of == "segment") localPayload(each["payload"]);
    } else if (each.isPresent()) {
      report(each, Severity::error, "this is " + shownType(each) + ", where an object belongs, and it is passed over");
    }
  }
}

void Checker::wrongType(const Item& item, const Key& key) {
  std::string advice;
  const auto number = numberIn(item);
  if (key.takes("text") && item.is(Type::number)) {
    advice = write(inQuotes(item.written()));
  } else if (number && !key.takes("text") && !key.takes("object")) {
    advice = write(shownNumber(*number));
  } else if (key.takes("objects") && item.is(Type::object)) {
    advice = "put what is inside into [ ]";
  } else if (!key.example.empty()) {
    advice = write("something like " + key.example);
  }
  std::string effect = key.otherwise.empty() ? "" : ": " + key.otherwise;
  const bool isTruth = item.is(Type::boolean) && !key.takes("text") && !key.takes("object") && !key.takes("objects");
  if (isTruth) effect = std::string(": it counts as ") + (item.written() == "true" ? "1" : "0");
  report(item, Severity::error, inQuotes(key.name) + " is " + shownType(item) + ", not " + wanted(key) + effect,
         advice);
}

void Checker::text(const Item& item, const Key& key) {
  const std::string text = item.text();
  const bool mustTell = key.needed && (!key.isNeededOnlyWhenSent || use_ == Use::sent);
  if (mustTell && text.empty()) {
    return report(item, Severity::error, inQuotes(key.name) + " is empty: " + key.otherwise,
                  write("something like " + key.example));
  }
  if (mustTell && (text.front() == ' ' || text.back() == ' ')) {
    report(item, Severity::warning, inQuotes(text) + " begins or ends with a blank, which counts",
           "take the blank out");
  }
  if (key.values.empty() || std::find(key.values.begin(), key.values.end(), text) != key.values.end()) return;
  const auto isMeant = [&](const std::string& value) { return isSlip(plainWord(text), plainWord(value)); };
  const auto meant = std::find_if(key.values.begin(), key.values.end(), isMeant);
  if (meant == key.values.end()) {
    if (key.isOpen) return;
    std::string known;
    for (const std::string& value : key.values) known += (known.empty() ? "" : " or ") + inQuotes(value);
    return report(item, Severity::error, inQuotes(text) + " is no " + inQuotes(key.name) + ": " + key.otherwise,
                  write(known));
  }
  report(item, Severity::error, inQuotes(text) + " is not " + inQuotes(*meant) + ": " + key.otherwise,
         write(inQuotes(*meant)));
}

void Checker::flag(const Item& item, const Key& key) {
  const std::string text = item.is(Type::text) ? plainWord(item.text()) : std::string(item.written());
  const auto isOneOf = [&](std::initializer_list<const char*> words) {
    return std::find(words.begin(), words.end(), text) != words.end();
  };
  const bool isNo = isOneOf({"false", "no", "off", "0", "n", "f", ""});
  if (key.name == "silentPush") {
    if (isNo) {
      report(
          item, Severity::error,
          "a push with \"silentPush\" is silent whatever its value is, " + shownValue(item) + " too: it is never shown",
          "leave \"silentPush\" out");
    }
    return;
  }
  if (!item.is(Type::text) || isNo || isOneOf({"true", "yes", "1", "y", "t"})) return;
  const bool counts = zn::Value(item.text()).boolValue();
  report(item, Severity::error, shownValue(item) + " counts as " + (counts ? "true" : "false"), write("true or false"));
}

void Checker::momentAsText(const Item& item, const Key& key, double factor) {
  const std::string text = item.text();
  const double read = zn::Value(text).doubleValue();
  const char* unit = factor > 1 ? " milliseconds" : " seconds";
  const double meant = zn::secondsOfIsoDate(text);
  const bool isPast = !key.past.empty() && read / factor < (options_.now > 0 ? options_.now : kOldestMoment);
  report(item, Severity::error,
         inQuotes(key.name) + ": " + inQuotes(text) + " is read as " + shownNumber(read) + unit + " since 1970" +
             (isPast ? ": " + key.past : ""),
         write(std::isfinite(meant) ? shownNumber(meant * factor) : unit + 1 + std::string(" since 1970")));
}

void Checker::moment(const Item& item, const Key& key, std::string_view unit) {
  constexpr double kTooLarge = 1e11;    // 1973 in milliseconds, far in the future in seconds
  constexpr double kFar = 16725225600;  // 2500
  const double factor = unit == "ms" ? 1000 : 1;
  const auto number = numberIn(item);
  if (!number) return momentAsText(item, key, factor);
  const double seconds = *number / factor;
  const std::string is = inQuotes(key.name) + " is " + shownDate(seconds);
  if (factor > 1 && *number >= kOldestMoment && *number < kTooLarge) {
    return report(item, Severity::error,
                  is + ", as seconds stand where milliseconds belong" + (key.past.empty() ? "" : ": " + key.past),
                  write(shownNumber(*number * 1000)));
  }
  if (factor == 1 && *number >= kTooLarge) {
    return report(item, Severity::error, is + ", as milliseconds stand where seconds belong",
                  write(shownNumber(std::floor(*number / 1000))));
  }
  if (seconds >= kFar)
    return report(item, Severity::warning, is + ", which is far away", "look at the number of digits");
  if (key.past.empty() || mayBePast_ || options_.now == 0 || seconds >= options_.now) return;
  const bool isPeriod = seconds < kOldestMoment;
  report(
      item, Severity::warning, is + ", which is past: " + key.past,
      isPeriod ? "write a moment, not a period: " + std::string(factor > 1 ? "milli" : "") + "seconds since 1970" : "");
}

void Checker::period(const Item& item, const Key& key, std::string_view unit) {
  const auto number = numberIn(item);
  if (!number) return;
  if (unit == "s") {
    if (key.longest == 0 || *number <= key.longest) return;
    return report(item, Severity::warning,
                  inQuotes(key.name) + " is " + shownPeriod(*number) + ", as periods here are seconds",
                  "if milliseconds were meant, write " + shownNumber(*number / 1000));
  }
  if (*number < 0 || (*number == 0 && key.needed)) {
    return report(item, Severity::warning, inQuotes(key.name) + " is " + shownNumber(*number) + ": " + key.otherwise,
                  key.needed ? write("something like " + key.example) : "");
  }
  if (*number == 0) return;
  constexpr double kHour = 3600;
  const bool isSeconds = *number < 1000 || (std::fmod(*number, kHour) == 0 && std::fmod(*number, 1000) != 0);
  if (!isSeconds) return;
  report(item, Severity::warning,
         inQuotes(key.name) + " is " + shownNumber(*number / 1000) + " seconds, as periods here are milliseconds",
         "if seconds were meant, write " + shownNumber(*number * 1000));
}

void Checker::timeOfDay(const Item& item, const Key& key) {
  const std::string written = item.is(Type::text) ? item.text() : std::string(item.written());
  const std::int64_t read = zn::Value(written).longLongValue();
  const auto clock = [](std::int64_t hhmm) {
    const std::string minutes = std::to_string(hhmm % 100);
    return std::to_string(hhmm / 100) + (minutes.size() < 2 ? ":0" : ":") + minutes;
  };
  const auto isTime = [](std::int64_t hhmm) { return hhmm >= 0 && hhmm / 100 < 24 && hhmm % 100 < 60; };
  if (item.is(Type::text)) {
    const std::int64_t meant = zn::Value([&] {
                                 std::string digits;
                                 for (const char c : written) digits += zn::isAsciiDigit(c) ? std::string(1, c) : "";
                                 return digits;
                               }())
                                   .longLongValue();
    const bool isSame = numberIn(item) && isTime(read);
    return report(item, isSame ? Severity::warning : Severity::error,
                  inQuotes(key.name) + " is text" +
                      (isSame ? ", where the number hhmm belongs" : ", of which a device reads " + clock(read)),
                  write(isTime(meant) ? std::to_string(meant) : "hhmm as a number, such as 2230"));
  }
  if (isTime(read) && numberIn(item) == static_cast<double>(read)) {
    const bool isHour = read > 0 && read < 24;
    if (!isHour) return;
    return report(item, Severity::warning, inQuotes(key.name) + " is " + clock(read) + ", as times here are hhmm",
                  "if " + clock(read * 100) + " was meant, write " + std::to_string(read * 100));
  }
  report(item, Severity::error, inQuotes(key.name) + " is " + std::string(written) + ", which is no time of day",
         "write hhmm as a number from 0 to 2359, such as 2230");
}

void Checker::link(const Item& item, const Key& key) {
  const bool isMedia = key.name == "media-attachment";
  const auto [problem, instead] =
      linkProblem(item.text(), options_.linkSchemes, isMedia ? key.otherwise : "nothing is opened");
  if (problem.empty()) return;
  report(item, Severity::error, inQuotes(key.name) + ": " + inQuotes(item.text()) + " " + problem,
         instead.empty() ? "" : write(inQuotes(instead)));
}

std::pair<std::string, std::string> linkProblem(std::string_view link, const std::vector<std::string>& schemes,
                                                std::string_view effect) {
  const std::string so = ", so " + std::string(effect);
  if (link.empty()) return {"is empty" + so, ""};
  const auto url = NSURL::URLWithString(link);
  if (!url) {
    std::string mended;
    for (const char c : withoutBlanksAround(link)) mended += c == ' ' ? "%20" : std::string(1, c);
    const bool helps = mended != link && linkProblem(mended, schemes, effect).first.empty();
    return {"is no link" + so, helps ? mended : ""};
  }
  std::string scheme;
  for (const char c : url->scheme()) scheme += zn::asciiLower(c);
  if (scheme.empty()) {
    const std::size_t slashes = link.find("//");
    const bool lacksColon = link.starts_with("https//") || link.starts_with("http//");
    const std::string_view host = link.substr(0, link.find('/'));
    const bool mayBeFile = host.size() == link.size() && effect != "nothing is opened";
    const bool isBareHost = !host.empty() && host.find('.') != host.npos && !mayBeFile;
    return {"names no scheme" + so, slashes == 0 || lacksColon ? "https:" + std::string(link.substr(slashes))
                                    : isBareHost               ? "https://" + std::string(link)
                                                               : ""};
  }
  const std::string_view rest = link.substr(scheme.size());
  // A host with a port looks like a scheme.
  const bool isHost = scheme == "localhost" || scheme.find('.') != scheme.npos;
  if (isHost && rest.size() > 1 && zn::isAsciiDigit(rest[1])) {
    return {"names no scheme" + so, "https://" + std::string(link)};
  }
  const bool isWeb = scheme == "http" || scheme == "https";
  if (isWeb)
    return url->host().empty() ? std::pair{"names no host" + so, std::string()}
                               : std::pair{std::string(), std::string()};
  for (const char* typo : {"htps", "htpps", "htttps", "httpss", "hhtps", "ttps", "htp", "htttp", "hhtp", "ttp"}) {
    if (scheme == typo) {
      const std::string meant = scheme.find('s') != scheme.npos ? "https" : "http";
      return {"has a scheme that nothing opens", meant + std::string(rest)};
    }
  }
  if (scheme == "javascript" || scheme == "data") return {"has a scheme that nothing opens", ""};
  if (schemes.empty() || std::find(schemes.begin(), schemes.end(), scheme) != schemes.end()) return {};
  return {"has the scheme \"" + scheme + "\", which the application does not open", ""};
}

}  // namespace apps::check
