#include "Apps/zinserver/CampaignFolder.h"

#include <string_view>
#include <vector>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zinserver {

using zn::Value;

namespace {

constexpr const char* kSegments = "segments.json";
constexpr const char* kFaults = "faults.json";

[[noreturn]] void refuse(const std::string& file, const std::string& reason) {
  throw zn::Exception(file + ": " + reason);
}

Value valueIn(const char* name, std::string_view text) {
  zn::JsonError error;
  const auto value = zn::parseJson(text, &error, {.allowComments = true});
  if (!value) refuse(name, error.text);
  return *value;
}

/// Milliseconds since 1970; 0 for what is no number.
double timeOf(const Value& value) { return value.isNumber() ? value.doubleValue() : 0; }

}  // namespace

std::string CampaignFolder::pathOf(const char* name) const { return zn::stringByAppendingPathComponent(path_, name); }

std::optional<std::string> CampaignFolder::readText(const char* name) const {
  std::string reason;
  const auto bytes = zn::readFile(pathOf(name), &reason);
  if (!bytes && reason.empty()) return std::nullopt;
  if (!bytes) refuse(name, reason);
  return std::string(bytes->begin(), bytes->end());
}

Value CampaignFolder::readJson(const char* name) const {
  const auto text = readText(name);
  return text ? valueIn(name, *text) : zn::nil;
}

Value CampaignFolder::readObject(const char* name) const {
  const auto text = readText(name);
  if (!text) refuse(name, "there is no such file in the folder");
  findings_.tell(name, *text);
  const Value value = valueIn(name, *text);
  if (!value.isDictionary()) refuse(name, "must hold a JSON object");
  return value;
}

Value CampaignFolder::answer(ZNService service, const Value& request) const {
  switch (service) {
    case ZNService::events:
    case ZNService::categories:
      return Value::dictionary({{"accepted", true}});
    case ZNService::inbox:
      return readObject("inbox.json");
    case ZNService::triggerSync:
      return campaigns(request);
    case ZNService::userInSegment:
      return segment(request);
  }
  throw zn::Exception("no such service");
}

Value CampaignFolder::campaigns(const Value& request) const {
  Value answer = readObject("triggers.json");
  const Value onlyChanged = answer["only_changed"];
  answer.removeValidObjectForKey("only_changed");
  if (!onlyChanged.boolean()) return answer;
  const double last = timeOf(request["last_sync_time"]);
  std::vector<Value> changed;
  for (const Value& campaign : answer["campaigns"].elements()) {
    if (timeOf(campaign["last_updated"]) > last) changed.push_back(campaign);
  }
  answer.setObjectNilHandled(Value::array(std::move(changed)), "campaigns");
  return answer;
}

Value CampaignFolder::segment(const Value& request) const {
  const Value segments = readObject(kSegments);
  const Value& own = segments["campaigns"][request["campaign_id"].string()];
  const Value& answer = own.isNil() ? segments["default"] : own;
  if (!answer.isDictionary()) refuse(kSegments, "has no object for this campaign, and none under \"default\"");
  return answer;
}

std::vector<Fault> CampaignFolder::faults() const {
  const Value descriptions = readJson(kFaults);
  if (!descriptions.isNil() && !descriptions.isArray()) refuse(kFaults, "must hold a JSON array");
  std::vector<Fault> faults;
  for (const Value& each : descriptions.elements()) {
    try {
      faults.push_back(faultOf(each));
    } catch (const zn::Exception& refusal) {
      refuse(kFaults, refusal.reason());
    }
  }
  return faults;
}

}  // namespace zinserver
