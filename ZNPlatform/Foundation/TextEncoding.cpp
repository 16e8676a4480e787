#include "ZNPlatform/Foundation/TextEncoding.h"

#include <algorithm>

namespace zn {

namespace {

constexpr std::string_view kBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::string_view kBlanks = " \t\r\n";

}  // namespace

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
  if (text.size() % 2 != 0) return std::nullopt;
  Data bytes;
  bytes.reserve(text.size() / 2);
  for (std::size_t at = 0; at < text.size(); at += 2) {
    const int high = hexDigit(text[at]);
    const int low = hexDigit(text[at + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
  }
  return bytes;
}

std::string base64Text(std::span<const std::uint8_t> bytes) {
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += 3) {
    const std::size_t count = std::min<std::size_t>(3, bytes.size() - at);
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < 3; ++i) group = group << 8 | (i < count ? bytes[at + i] : 0);
    for (std::size_t i = 0; i < 4; ++i) text += i <= count ? kBase64[group >> (18 - 6 * i) & 63] : '=';
  }
  return text;
}

std::optional<Data> dataFromBase64Text(std::string_view text) {
  Data bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t group = 0;
  int count = 0, filled = 0;
  for (const char c : text) {
    if (kBlanks.find(c) != std::string_view::npos) continue;
    const std::size_t bits = c == '=' ? 0 : kBase64.find(c);
    filled += c == '=';
    if (bits == std::string_view::npos || (filled > 0 && c != '=')) return std::nullopt;
    group = group << 6 | static_cast<std::uint32_t>(bits);
    if (++count < 4) continue;
    if (filled > 2) return std::nullopt;
    for (int i = 0; i < 3 - filled; ++i) bytes.push_back(static_cast<std::uint8_t>(group >> (16 - 8 * i)));
    group = 0;
    count = 0;
  }
  return count == 0 && filled <= 2 ? std::optional(std::move(bytes)) : std::nullopt;
}

std::string base64UrlText(std::span<const std::uint8_t> bytes) {
  std::string text = base64Text(bytes);
  text.erase(std::min(text.find('='), text.size()));
  std::replace(text.begin(), text.end(), '+', '-');
  std::replace(text.begin(), text.end(), '/', '_');
  return text;
}

std::optional<Data> dataFromBase64UrlText(std::string_view text) {
  if (text.find_first_of("+/ \t\r\n") != std::string_view::npos) return std::nullopt;
  std::string other(text);
  std::replace(other.begin(), other.end(), '-', '+');
  std::replace(other.begin(), other.end(), '_', '/');
  if (!text.ends_with('=')) other.append((4 - other.size() % 4) % 4, '=');
  return dataFromBase64Text(other);
}

std::string percentEncoded(std::string_view text, bool (*mayStay)(char)) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<std::uint8_t>(c);
    if (mayStay(c)) {
      out += c;
    } else {
      out.append({'%', digits[byte >> 4], digits[byte & 0xF]});
    }
  }
  return out;
}

}  // namespace zn
