#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zinpush {

/// The whole file, or standard input for "-". Throws apps::UsageError where it cannot be read.
std::string readText(const std::string& path);

/// What is sent of such a text, which came from there. Throws apps::UsageError for what is no JSON object.
std::string payloadIn(std::string_view text, const std::string& from);

/// Says on standard error what a device would silently make of it. Returns whether there was anything to say.
/// `linkSchemes`: what the application opens beside http and https; empty: anything.
bool complainAbout(std::string_view text, const std::string& from, const std::vector<std::string>& linkSchemes);

}  // namespace zinpush
