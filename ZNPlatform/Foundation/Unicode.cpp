#include "ZNPlatform/Foundation/Unicode.h"

#include <array>
#include <cstdio>

namespace zn {

namespace {

void appendUtf8(char32_t point, std::string& out) {
  constexpr std::uint8_t kLeads[] = {0, 0xC0, 0xE0, 0xF0};
  const int following = point < 0x80 ? 0 : point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
  out += static_cast<char>(kLeads[following] | point >> 6 * following);
  for (int left = following; left-- > 0;) out += static_cast<char>(0x80 | (point >> 6 * left & 0x3F));
}

constexpr std::uint32_t kLineSeparator = 0x2028;
constexpr std::uint32_t kParagraphSeparator = 0x2029;

bool isControl(std::uint32_t scalar) { return scalar < 0x20 || (scalar >= 0x7f && scalar < 0xa0); }

std::string escapeOf(const char* format, std::uint32_t number) {
  std::array<char, 16> escape{};
  std::snprintf(escape.data(), escape.size(), format, static_cast<unsigned>(number));
  return escape.data();
}

}  // namespace

bool isValidUtf8(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const Utf8Step step = utf8StepAt(text, at);
    if (!step.valid) return false;
    at += step.size;
  }
  return true;
}

std::string sanitizedUtf8(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t at = 0; at < text.size();) {
    const Utf8Step step = utf8StepAt(text, at);
    out.append(step.valid ? text.substr(at, step.size) : kReplacementCharacter);
    at += step.size;
  }
  return out;
}

void appendUtf16BigEndian(std::string_view utf8, std::vector<std::uint8_t>& out) {
  const auto append = [&](char32_t unit) {
    out.push_back(static_cast<std::uint8_t>(unit >> 8));
    out.push_back(static_cast<std::uint8_t>(unit));
  };
  out.reserve(out.size() + 2 * utf8.size());
  for (std::size_t at = 0; at < utf8.size();) {
    const Utf8Step step = utf8StepAt(utf8, at);
    at += step.size;
    if (step.scalar < 0x10000) {
      append(step.scalar);
    } else {
      append(0xD800 + ((step.scalar - 0x10000) >> 10));
      append(0xDC00 + ((step.scalar - 0x10000) & 0x3FF));
    }
  }
}

std::string utf8FromUtf16BigEndian(std::span<const std::uint8_t> units) {
  std::string out;
  out.reserve(units.size());
  const auto unitAt = [&](std::size_t at) { return static_cast<char32_t>(units[at] << 8 | units[at + 1]); };
  for (std::size_t at = 0; at + 2 <= units.size(); at += 2) {
    char32_t point = unitAt(at);
    if (point >= 0xD800 && point <= 0xDFFF) {
      const char32_t next = point < 0xDC00 && at + 4 <= units.size() ? unitAt(at + 2) : 0;
      if (next >= 0xDC00 && next <= 0xDFFF) {
        point = 0x10000 + ((point - 0xD800) << 10) + (next - 0xDC00);
        at += 2;
      } else {
        point = 0xFFFD;  // half of a pair
      }
    }
    appendUtf8(point, out);
  }
  return out;
}

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
