#pragma once

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <string>
#include <vector>

#include "Apps/CommandLine.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zinsim {

using apps::UsageError;

/// What a value must be: a field of a command, or an argument of a call.
struct Shape {
  bool (*fits)(const zn::Value& value);
  const char* expected;
};

namespace shape {

inline bool isAbsent(const zn::Value& value) { return value.isNil() || value.isNull(); }
inline bool isText(const zn::Value& value) { return value.isString(); }
inline bool isName(const zn::Value& value) { return value.isString() && !value.string().empty(); }
inline bool isArray(const zn::Value& value) { return value.isArray(); }
inline bool isDictionary(const zn::Value& value) { return value.isDictionary(); }
inline bool isNumber(const zn::Value& value) { return value.isNumber() && !value.isBoolean(); }
inline bool isCampaign(const zn::Value& value) { return value.isString() || value.isDictionary(); }

inline bool isWhole(const zn::Value& value) {
  return isNumber(value) && std::abs(value.doubleValue()) < 9e15 &&
         value.doubleValue() == std::floor(value.doubleValue());
}

template <bool (*fits)(const zn::Value&)>
bool isNullOr(const zn::Value& value) {
  return value.isNull() || fits(value);
}

template <bool (*fits)(const zn::Value&)>
bool isArrayOf(const zn::Value& value) {
  const auto elements = value.elements();
  return value.isArray() && std::all_of(elements.begin(), elements.end(), fits);
}

inline bool isPush(const zn::Value& value) {
  const zn::Value& action = value["action"];
  return value.isDictionary() && (isAbsent(value["payload"]) || value["payload"].isDictionary()) &&
         (action.isNil() || action.isString());
}

inline bool isPostInfo(const zn::Value& value) {
  const zn::Value& campaign = value["campaign"];
  const zn::Value& isOffline = value["isOffline"];
  return value.isDictionary() && (isAbsent(campaign) || isCampaign(campaign)) &&
         (isAbsent(value["payload"]) || value["payload"].isDictionary()) &&
         (isAbsent(isOffline) || isOffline.isBoolean());
}

inline bool isRequest(const zn::Value& value) {
  const zn::Value delay = value.validObjectForKey("delay");
  return value.isDictionary() && value["notification"].isString() && (delay.isNil() || isNumber(delay));
}

inline constexpr Shape anything{[](const zn::Value&) { return true; }, "any value"};
/// Stands for an object that cannot be written.
inline constexpr Shape nothing{[](const zn::Value& value) { return value.isNull(); }, "null"};
inline constexpr Shape boolean{[](const zn::Value& value) { return value.isBoolean(); }, "true or false"};
inline constexpr Shape number{isNumber, "a number"};
inline constexpr Shape integer{isWhole, "a whole number"};
inline constexpr Shape text{isText, "a text"};
inline constexpr Shape name{isName, "a text that is not empty"};
inline constexpr Shape texts{isArrayOf<isText>, "an array of texts"};
inline constexpr Shape array{isArray, "an array"};
inline constexpr Shape dictionary{isDictionary, "a dictionary"};
inline constexpr Shape booleanOrText{[](const zn::Value& value) { return value.isBoolean() || value.isString(); },
                                     "true, false or an error text"};
inline constexpr Shape nameOrNull{isNullOr<isName>, "a text that is not empty, or null"};
inline constexpr Shape textOrNull{isNullOr<isText>, "a text or null"};
inline constexpr Shape textsOrNull{isNullOr<isArrayOf<isText>>, "an array of texts, or null"};
inline constexpr Shape dictionaryOrNull{isNullOr<isDictionary>, "a dictionary or null"};

// Of arguments only.

inline constexpr Shape application{[](const zn::Value& value) { return value == zn::Value("application"); },
                                   "\"application\""};
inline constexpr Shape center{[](const zn::Value& value) { return value == zn::Value("center"); }, "\"center\""};
inline constexpr Shape completion{[](const zn::Value& value) { return value == zn::Value("completion"); },
                                  "\"completion\""};
inline constexpr Shape object{isText, "a host object's class name"};  // or "center"
inline constexpr Shape token{[](const zn::Value& value) { return value.isData(); }, "{\"$data\": \"HEX\"}"};
inline constexpr Shape notification{isPush, "{\"payload\": {...}}"};
inline constexpr Shape response{isPush, "{\"payload\": {...}, \"action\": TEXT}"};
/// Of {"identifier": …, "actions": [{"identifier": …, "title": …}]}; another element stands for no category.
inline constexpr Shape categories{isArray, "an array of categories"};
inline constexpr Shape campaign{isCampaign, "a stored campaign's id, a campaign as the server sends it,"};
inline constexpr Shape campaigns{isArrayOf<isCampaign>, "an array of campaigns"};
inline constexpr Shape container{isDictionary, "{\"$class\": \"ZNDeviceTriggers\", CODER KEY: value, ...}"};
inline constexpr Shape request{isRequest, "{\"notification\": TEXT, \"title\": ..., \"delay\": SECONDS, ...}"};
inline constexpr Shape postInfo{isPostInfo, "{\"campaign\": ..., \"payload\": {...}, \"isOffline\": BOOL}"};

}  // namespace shape

/// A value for a message, shortened.
std::string shown(const zn::Value& value);

/// "WHAT must be EXPECTED, not VALUE".
std::string refusal(const std::string& what, const std::string& expected, const zn::Value& value);
[[noreturn]] void refuse(const std::string& what, const std::string& expected, const zn::Value& value);

/// One table of several parts.
template <class Entry>
std::vector<Entry> joined(std::initializer_list<std::vector<Entry>> parts) {
  std::vector<Entry> all;
  for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

}  // namespace zinsim
