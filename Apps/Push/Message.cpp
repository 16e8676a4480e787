#include "Apps/Push/Message.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace push {

using zn::Value;

namespace {

std::string textUnder(const char* key, const Value& description) {
  const Value& text = description[key];
  if (text.isNil()) return "";
  if (!text.isString()) throw zn::Exception(std::string("\"") + key + "\" must be a text");
  return std::string(text.string());
}

void checkKey(std::string_view key, std::initializer_list<std::string_view> otherKeys) {
  constexpr std::array<std::string_view, 4> kKeys = {"payload", "ttl", "urgency", "topic"};
  if (std::find(kKeys.begin(), kKeys.end(), key) != kKeys.end()) return;
  if (std::find(otherKeys.begin(), otherKeys.end(), key) != otherKeys.end()) return;
  throw zn::Exception("a push has no \"" + std::string(key) + "\"");
}

}  // namespace

void checkUrgency(const std::string& urgency) {
  constexpr std::array<std::string_view, 4> kUrgencies = {"very-low", "low", "normal", "high"};
  if (std::find(kUrgencies.begin(), kUrgencies.end(), urgency) != kUrgencies.end()) return;
  throw zn::Exception("urgency must be very-low, low, normal or high");
}

void checkTopic(const std::string& topic) {
  constexpr std::size_t kLongest = 32;
  const auto isAllowed = [](char c) { return zn::isAsciiLetter(c) || zn::isAsciiDigit(c) || c == '-' || c == '_'; };
  if (!topic.empty() && topic.size() <= kLongest && std::all_of(topic.begin(), topic.end(), isAllowed)) return;
  throw zn::Exception("topic must have 1 to 32 letters, digits, \"-\" and \"_\"");
}

std::string textOf(const Value& payload) {
  if (!payload.isDictionary()) throw zn::Exception("the payload must be a JSON object");
  return zn::jsonText(payload);
}

Message messageOf(const Value& description, std::initializer_list<std::string_view> otherKeys) {
  if (!description.isDictionary()) throw zn::Exception("a push must be a JSON object");
  for (const auto& [key, value] : description.entries()) checkKey(key.string(), otherKeys);
  Message message;
  if (description["payload"].isNil()) throw zn::Exception("\"payload\" is missing");
  message.text = textOf(description["payload"]);
  message.urgency = textUnder("urgency", description);
  message.topic = textUnder("topic", description);
  if (!message.urgency.empty()) checkUrgency(message.urgency);
  if (!message.topic.empty()) checkTopic(message.topic);
  const Value& seconds = description["ttl"];
  if (seconds.isNil()) return message;
  if (seconds.type() != Value::Type::integer || seconds.integer() < 0 || seconds.integer() > Message::kLongestLife) {
    throw zn::Exception("\"ttl\" must be a whole number of seconds from 0 to " + std::to_string(Message::kLongestLife));
  }
  message.secondsToLive = static_cast<int>(seconds.integer());
  return message;
}

}  // namespace push
