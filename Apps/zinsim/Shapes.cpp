#include "Apps/zinsim/Shapes.h"

#include <algorithm>
#include <cmath>

#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zinsim {

using zn::Value;

namespace {

bool isAbsent(const Value& value) { return value.isNil() || value.isNull(); }
bool isText(const Value& value) { return value.isString(); }
bool isName(const Value& value) { return value.isString() && !value.string().empty(); }
bool isArray(const Value& value) { return value.isArray(); }
bool isDictionary(const Value& value) { return value.isDictionary(); }
bool isNumber(const Value& value) { return value.isNumber() && !value.isBoolean(); }
bool isCampaign(const Value& value) { return value.isString() || value.isDictionary(); }

bool isWhole(const Value& value) {
  return isNumber(value) && std::abs(value.doubleValue()) < 9e15 &&
         value.doubleValue() == std::floor(value.doubleValue());
}

template <bool (*fits)(const Value&)>
bool isNullOr(const Value& value) {
  return value.isNull() || fits(value);
}

template <bool (*fits)(const Value&)>
bool isArrayOf(const Value& value) {
  const auto elements = value.elements();
  return value.isArray() && std::all_of(elements.begin(), elements.end(), fits);
}

bool isPush(const Value& value) {
  const Value& action = value["action"];
  return value.isDictionary() && (isAbsent(value["payload"]) || value["payload"].isDictionary()) &&
         (action.isNil() || action.isString());
}

bool isPostInfo(const Value& value) {
  const Value& campaign = value["campaign"];
  const Value& isOffline = value["isOffline"];
  return value.isDictionary() && (isAbsent(campaign) || isCampaign(campaign)) &&
         (isAbsent(value["payload"]) || value["payload"].isDictionary()) &&
         (isAbsent(isOffline) || isOffline.isBoolean());
}

bool isRequest(const Value& value) {
  const Value delay = value.validObjectForKey("delay");
  return value.isDictionary() && value["notification"].isString() && (delay.isNil() || isNumber(delay));
}

}  // namespace

namespace shape {
const Shape anything{[](const Value&) { return true; }, "any value"};
const Shape nothing{[](const Value& value) { return value.isNull(); }, "null"};
const Shape boolean{[](const Value& value) { return value.isBoolean(); }, "true or false"};
const Shape number{isNumber, "a number"};
const Shape integer{isWhole, "a whole number"};
const Shape text{isText, "a text"};
const Shape name{isName, "a text that is not empty"};
const Shape texts{isArrayOf<isText>, "an array of texts"};
const Shape array{isArray, "an array"};
const Shape dictionary{isDictionary, "a dictionary"};
const Shape booleanOrText{[](const Value& value) { return value.isBoolean() || value.isString(); },
                          "true, false or an error text"};
const Shape nameOrNull{isNullOr<isName>, "a text that is not empty, or null"};
const Shape textOrNull{isNullOr<isText>, "a text or null"};
const Shape textsOrNull{isNullOr<isArrayOf<isText>>, "an array of texts, or null"};
const Shape dictionaryOrNull{isNullOr<isDictionary>, "a dictionary or null"};
const Shape application{[](const Value& value) { return value == Value("application"); }, "\"application\""};
const Shape center{[](const Value& value) { return value == Value("center"); }, "\"center\""};
const Shape completion{[](const Value& value) { return value == Value("completion"); }, "\"completion\""};
const Shape object{isText, "a host object's class name"};
const Shape token{[](const Value& value) { return value.isData(); }, "{\"$data\": \"HEX\"}"};
const Shape notification{isPush, "{\"payload\": {...}}"};
const Shape response{isPush, "{\"payload\": {...}, \"action\": TEXT}"};
const Shape categories{isArray, "an array of categories"};
const Shape campaign{isCampaign, "a stored campaign's id, a campaign as the server sends it,"};
const Shape campaigns{isArrayOf<isCampaign>, "an array of campaigns"};
const Shape container{isDictionary, "{\"$class\": \"ZNDeviceTriggers\", CODER KEY: value, ...}"};
const Shape request{isRequest, "{\"notification\": TEXT, \"title\": ..., \"delay\": SECONDS, ...}"};
const Shape postInfo{isPostInfo, "{\"campaign\": ..., \"payload\": {...}, \"isOffline\": BOOL}"};
}  // namespace shape

std::string shown(const Value& value) {
  constexpr std::size_t longest = 60;
  std::string text = zn::jsonText(value);
  if (text.size() > longest) text = zn::sanitizedUtf8(text.substr(0, longest)) + "…";
  return text;
}

void refuse(const std::string& what, const std::string& expected, const Value& value) {
  throw UsageError(what + " must be " + expected + ", not " + shown(value));
}

}  // namespace zinsim
