#include "ZNPlatform/Foundation/SingleLine_p.h"

#include <array>
#include <cstdint>
#include <cstdio>

#include "ZNPlatform/Foundation/Utf8.h"

namespace zn {

namespace {

constexpr std::uint32_t kLineSeparator = 0x2028;
constexpr std::uint32_t kParagraphSeparator = 0x2029;

bool isControl(std::uint32_t scalar) { return scalar < 0x20 || (scalar >= 0x7f && scalar < 0xa0); }

std::string escapeOf(const char* format, std::uint32_t number) {
  std::array<char, 16> escape{};
  std::snprintf(escape.data(), escape.size(), format, static_cast<unsigned>(number));
  return escape.data();
}

}  // namespace

std::string singleLine(std::string_view text) {
  std::string line;
  line.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const Utf8Step step = utf8StepAt(text, at);
    const std::string_view bytes = text.substr(at, step.size);
    at += step.size;
    if (!step.valid) {
      for (const char byte : bytes) line += escapeOf("\\x%02x", static_cast<std::uint8_t>(byte));
    } else if (step.scalar == '\n') {
      line += "\\n";
    } else if (step.scalar == '\r') {
      line += "\\r";
    } else if (step.scalar == '\t') {
      line += "\\t";
    } else if (isControl(step.scalar)) {
      line += escapeOf("\\x%02x", step.scalar);
    } else if (step.scalar == kLineSeparator || step.scalar == kParagraphSeparator) {
      line += escapeOf("\\u%04x", step.scalar);
    } else {
      line += bytes;
    }
  }
  return line;
}

}  // namespace zn
