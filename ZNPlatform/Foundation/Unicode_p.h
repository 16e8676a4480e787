#pragma once

// Conversions between UTF-8 and UTF-16. What is not valid becomes U+FFFD, as Unicode recommends.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zn {

void appendUtf16BigEndian(std::string_view utf8, std::vector<std::uint8_t>& out);
std::string utf8FromUtf16BigEndian(std::span<const std::uint8_t> units);

}  // namespace zn
