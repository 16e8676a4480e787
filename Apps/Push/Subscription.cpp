#include "Apps/Push/Subscription.h"

#include <algorithm>
#include <string>

#include "ZNDevices/Freedesktop/WebPush/PushMessage_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace push {

using zn::Value;

namespace {

constexpr std::size_t kMostMemory = 1 << 20;

std::string_view trimmed(std::string_view text) {
  constexpr const char* kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == text.npos) return "";
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

Value read(std::string_view text) {
  if (text.empty()) throw zn::Exception("the subscription is empty");
  const auto bytes = zn::dataFromHexText(text);
  const std::string json = bytes ? std::string(bytes->begin(), bytes->end()) : std::string(text);
  zn::JsonError error;
  const auto value = zn::parseJson(json, &error, {.maximumMemory = kMostMemory});
  if (value && value->isDictionary()) return *value;
  if (bytes)
    throw zn::Exception("the subscription is hexadecimal, but not of a JSON object: is it a token of another kind?");
  if (value) throw zn::Exception("the subscription is no JSON object");
  throw zn::Exception("the subscription is neither hexadecimal nor JSON (line " + std::to_string(error.line) +
                      ", column " + std::to_string(error.column) + ")");
}

zn::Data bytesOf(const Value& keys, const char* name, std::size_t size) {
  const std::string called = std::string("\"keys.") + name + "\"";
  const Value& text = keys[name];
  if (!text.isString()) throw zn::Exception("the subscription has no text " + called);
  auto bytes = zn::dataFromBase64UrlText(text.string());
  if (!bytes) throw zn::Exception("the subscription's " + called + " is no base64url text");
  if (bytes->size() == size) return *std::move(bytes);
  throw zn::Exception("the subscription's " + called + " has " + std::to_string(bytes->size()) + " bytes instead of " +
                      std::to_string(size));
}

Url endpointOf(const Value& subscription) {
  const Value& text = subscription["endpoint"];
  if (!text.isString()) throw zn::Exception("the subscription has no text \"endpoint\"");
  try {
    return Url(std::string(text.string()));
  } catch (const zn::Exception& problem) {
    throw zn::Exception("the subscription's \"endpoint\" " + problem.reason());
  }
}

}  // namespace

Subscription Subscription::ofText(std::string_view text) {
  const Value subscription = read(trimmed(text));
  Url endpoint = endpointOf(subscription);
  const Value& keys = subscription["keys"];
  if (!keys.isDictionary()) throw zn::Exception("the subscription has no object \"keys\"");
  const auto key = zn::P256Key::ofPublic(bytesOf(keys, "p256dh", zn::P256Key::kPublicSize));
  if (!key) throw zn::Exception("the subscription's \"keys.p256dh\" is no public key on P-256");
  return {std::move(endpoint), *key, bytesOf(keys, "auth", zn::webpush::kAuthSize)};
}

}  // namespace push
