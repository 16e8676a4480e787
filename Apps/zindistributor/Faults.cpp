#include "Apps/zindistributor/Faults.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "Apps/Servers/FaultFields.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zindistributor {

using zn::Value;

namespace {

std::int64_t count(const Value& key, const Value& value) {
  return apps::wholeNumber(key, "a whole number from 1 on", value, 1, INT64_MAX);
}

std::string reason(const Value& key, const Value& value) {
  constexpr std::array<std::string_view, 4> kReasons = {"INTERNAL_ERROR", "NETWORK", "ACTION_REQUIRED",
                                                        "VAPID_REQUIRED"};
  if (std::find(kReasons.begin(), kReasons.end(), value.string()) == kReasons.end()) {
    apps::refuseField(key, "INTERNAL_ERROR, NETWORK, ACTION_REQUIRED or VAPID_REQUIRED", value);
  }
  return std::string(value.string());
}

}  // namespace

void Faults::add(const std::string& text) {
  zn::JsonError error;
  const auto fault = zn::parseJson(text, &error);
  if (!fault) throw zn::Exception(error.text);
  if (!fault->isDictionary()) throw zn::Exception("a fault is a JSON object");
  for (const auto& [key, value] : fault->entries()) {
    const auto name = key.string();
    if (name == "refuse") {
      refuse = reason(key, value);
    } else if (name == "times") {
      times = count(key, value);
    } else if (name == "delaySeconds") {
      delaySeconds = apps::delay(key, value);
    } else if (name == "silent") {
      silent = apps::boolean(key, value);
    } else if (name == "newEndpointAfter") {
      newEndpointAfter = count(key, value);
    } else if (name == "unregisterAfter") {
      unregisterAfter = count(key, value);
    } else if (name == "twice") {
      twice = apps::boolean(key, value);
    } else if (name == "unknownToken") {
      unknownToken = apps::boolean(key, value);
    } else {
      throw zn::Exception(zn::format("a fault has no \"%@\"", key));
    }
  }
}

bool Faults::refusesNow() {
  if (refuse.empty() || times == 0) return false;
  if (times > 0) --times;
  return true;
}

}  // namespace zindistributor
