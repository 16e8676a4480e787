#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "ZNPlatform/Export.h"

namespace zn {

inline constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";  // U+FFFD

/// What stands at one place of a UTF-8 text.
struct Utf8Step {
  std::uint32_t scalar;  ///< U+FFFD where the bytes are ill-formed
  std::uint32_t size;    ///< bytes of the character, or of the maximal ill-formed subpart; at least 1
  bool valid;
};

/// Decodes the character at `position`, which must be inside the text. Surrogates, overlong forms and values above
/// U+10FFFF are ill-formed, so the second byte's range depends on the first.
inline Utf8Step utf8StepAt(std::string_view text, std::size_t position) noexcept {
  const auto byte = [&](std::size_t offset) { return static_cast<std::uint8_t>(text[position + offset]); };
  const std::uint8_t lead = byte(0);
  if (lead < 0x80) return {lead, 1, true};
  if (lead < 0xC2 || lead > 0xF4) return {0xFFFD, 1, false};
  const std::uint32_t size = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  std::uint8_t low = 0x80;
  std::uint8_t high = 0xBF;
  if (lead == 0xE0) low = 0xA0;
  if (lead == 0xED) high = 0x9F;
  if (lead == 0xF0) low = 0x90;
  if (lead == 0xF4) high = 0x8F;
  std::uint32_t scalar = lead & (0x7Fu >> size);
  for (std::uint32_t offset = 1; offset < size; ++offset) {
    if (position + offset >= text.size() || byte(offset) < low || byte(offset) > high) return {0xFFFD, offset, false};
    scalar = scalar << 6 | (byte(offset) & 0x3Fu);
    low = 0x80;
    high = 0xBF;
  }
  return {scalar, size, true};
}

ZN_EXPORT bool isValidUtf8(std::string_view text);
/// UTF-8 with every ill-formed sequence replaced by U+FFFD (one for each maximal subpart, as the Unicode standard
/// recommends).
ZN_EXPORT std::string sanitizedUtf8(std::string_view text);

// To and from UTF-16. What is ill-formed becomes U+FFFD.

ZN_EXPORT void appendUtf16BigEndian(std::string_view utf8, std::vector<std::uint8_t>& out);
ZN_EXPORT std::string utf8FromUtf16BigEndian(std::span<const std::uint8_t> units);

/// A text as it may stand in a line of a log: control characters and line separators, with which foreign text could
/// forge a line or steer a terminal, become escapes (`\n`, `\t`, `\x1b`, `\u2028`), and so do bytes that are no UTF-8.
/// Everything else, a backslash included, stays as it is.
ZN_EXPORT std::string singleLine(std::string_view text);

}  // namespace zn
