#include "ZNPlatform/Foundation/Utf8.h"

#include "ZNPlatform/Foundation/Json.h"

namespace zn {

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

std::string hexText(std::span<const std::uint8_t> bytes) {
  constexpr char digits[] = "0123456789abcdef";
  std::string out;
  out.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    out += digits[byte >> 4];
    out += digits[byte & 0xF];
  }
  return out;
}

std::optional<Data> dataFromHexText(std::string_view text) {
  const auto digit = [](char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
  };
  if (text.size() % 2 != 0) return std::nullopt;
  Data bytes;
  bytes.reserve(text.size() / 2);
  for (std::size_t at = 0; at < text.size(); at += 2) {
    const int high = digit(text[at]);
    const int low = digit(text[at + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
  }
  return bytes;
}

}  // namespace zn
