#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

/// Bytes as texts in a smaller alphabet. None of it depends on a locale.
namespace zn {

constexpr bool isAsciiDigit(char c) noexcept { return c >= '0' && c <= '9'; }
constexpr bool isAsciiLetter(char c) noexcept { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
constexpr char asciiLower(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
/// -1 for what is no hexadecimal digit.
constexpr int hexDigit(char c) noexcept {
  if (isAsciiDigit(c)) return c - '0';
  const char lower = asciiLower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}
/// Takes a sign off the front; true for a minus.
constexpr bool takeSign(std::string_view& text) noexcept {
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  return isNegative;
}

ZN_EXPORT std::string hexText(std::span<const std::uint8_t> bytes);    ///< lower case, no separators
ZN_EXPORT std::optional<Data> dataFromHexText(std::string_view text);  ///< either case; empty when malformed

/// RFC 4648, section 4, filled with "=".
ZN_EXPORT std::string base64Text(std::span<const std::uint8_t> bytes);
ZN_EXPORT std::optional<Data> dataFromBase64Text(std::string_view text);  ///< blanks anywhere; empty when malformed

/// RFC 4648, section 5, as JSON Web Signatures and Web Push have it: not filled.
ZN_EXPORT std::string base64UrlText(std::span<const std::uint8_t> bytes);
ZN_EXPORT std::optional<Data> dataFromBase64UrlText(std::string_view text);  ///< filled or not; empty when malformed

/// RFC 3986's unreserved characters, which mean themselves anywhere in a URL.
constexpr bool isUnreserved(char c) noexcept {
  return isAsciiLetter(c) || isAsciiDigit(c) || c == '-' || c == '.' || c == '_' || c == '~';
}
/// Every byte that may not stay becomes "%XX".
ZN_EXPORT std::string percentEncoded(std::string_view text, bool (*mayStay)(char));

}  // namespace zn
