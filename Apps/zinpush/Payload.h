#pragma once

#include <string>
#include <string_view>

namespace zinpush {

/// The whole file, or standard input for "-". Throws apps::UsageError where it cannot be read.
std::string readText(const std::string& path);

/// What is sent of such a text, which came from there; nothing that is too large. Throws apps::UsageError for what is
/// no JSON object.
std::string payloadIn(std::string_view text, const std::string& from);

}  // namespace zinpush
