#include "Apps/Push/Vapid.h"

#include <strings.h>

#include <algorithm>
#include <span>

#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace push {

using zn::Value;

namespace {

constexpr std::size_t kMostMemory = 1 << 16;
constexpr double kLongest = 24 * 3600;  // seconds ahead

std::string encoded(const Value& value) {
  const std::string text = zn::jsonText(value);
  return zn::base64UrlText({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

/// nil for what is no JSON object.
Value decoded(std::string_view text) {
  const auto bytes = zn::dataFromBase64UrlText(text);
  if (!bytes) return zn::nil;
  const std::string_view json(reinterpret_cast<const char*>(bytes->data()), bytes->size());
  const auto value = zn::parseJson(json, nullptr, {.maximumMemory = kMostMemory});
  return value && value->isDictionary() ? *value : zn::nil;
}

/// Takes what stands before a separator off the front.
std::string_view next(std::string_view& text, char separator) {
  const std::string_view part = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(text.size(), part.size() + 1));
  return part;
}

struct Credentials {
  std::string_view token;
  std::string_view key;
};

std::optional<Credentials> credentialsIn(std::string_view header) {
  constexpr std::string_view kScheme = "vapid ";
  if (header.size() < kScheme.size() || ::strncasecmp(header.data(), kScheme.data(), kScheme.size()) != 0) {
    return std::nullopt;
  }
  header.remove_prefix(kScheme.size());
  Credentials found;
  while (!header.empty()) {
    std::string_view part = next(header, ',');
    while (part.starts_with(' ')) part.remove_prefix(1);
    while (part.ends_with(' ')) part.remove_suffix(1);
    if (part.starts_with("t=")) found.token = part.substr(2);
    if (part.starts_with("k=")) found.key = part.substr(2);
  }
  if (found.token.empty() || found.key.empty()) return std::nullopt;
  return found;
}

}  // namespace

std::string vapidAuthorization(const zn::P256Key& key, const std::string& origin, const std::string& contact,
                               std::int64_t expires) {
  Value claims = Value::dictionary({{"aud", origin}, {"exp", expires}});
  if (!contact.empty()) claims.setObjectNilHandled(contact, "sub");
  const std::string signedText = encoded(Value::dictionary({{"typ", "JWT"}, {"alg", "ES256"}})) + "." + encoded(claims);
  return "vapid t=" + signedText + "." + zn::base64UrlText(key.sign(signedText)) +
         ", k=" + zn::base64UrlText(key.publicKey());
}

std::optional<VapidRefusal> vapidRefusal(std::string_view authorization, const zn::Data& publicKey,
                                         const std::string& origin, double now) {
  constexpr int kUnauthorized = 401;
  const auto forbidden = [](const std::string& reason) { return VapidRefusal{403, reason}; };
  const auto given = credentialsIn(authorization);
  if (!given) return VapidRefusal{kUnauthorized, "\"Authorization: vapid t=…, k=…\" is needed"};
  if (zn::dataFromBase64UrlText(given->key) != publicKey) return forbidden("this is another sender's subscription");

  std::string_view rest = given->token;
  const std::string_view header = next(rest, '.');
  const std::string_view claims = next(rest, '.');
  const std::string_view signedText = given->token.substr(0, header.size() + 1 + claims.size());
  const auto signature = zn::dataFromBase64UrlText(rest);
  const auto key = zn::P256Key::ofPublic(publicKey);
  if (decoded(header)["alg"] != "ES256") return forbidden("the token must be signed with ES256");
  if (!key || !signature || !key->verifies(*signature, signedText)) return forbidden("the signature is wrong");
  const Value said = decoded(claims);
  if (said["aud"] != Value(origin)) return forbidden("the token is for another server");
  if (!said["exp"].isNumber() || said["exp"].isBoolean()) return forbidden("the token does not say when it expires");
  const double expires = said["exp"].doubleValue();
  if (expires <= now) return forbidden("the token has expired");
  if (expires > now + kLongest) return forbidden("the token expires more than 24 hours from now");
  return std::nullopt;
}

}  // namespace push
