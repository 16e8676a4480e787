#include "Apps/zinpush/Payload.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <iterator>

#include "Apps/Check/Check.h"
#include "Apps/CommandLine.h"
#include "Apps/Push/Message.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zinpush {

std::string readText(const std::string& path) {
  if (path == "-") return {std::istreambuf_iterator<char>(std::cin), {}};
  std::string error;
  const auto bytes = zn::readFile(path, &error);
  if (!bytes) throw apps::UsageError(error.empty() ? path + ": there is no such file" : error);
  return {bytes->begin(), bytes->end()};
}

namespace {

/// Why it is no JSON, and what to do.
std::string unreadable(std::string_view text, const std::string& from) {
  const auto findings = apps::check::check(apps::check::Kind::payload, text, {});
  return findings.empty() ? from + ": this is no JSON" : apps::check::lineFor(from, findings.front());
}

}  // namespace

std::string payloadIn(std::string_view text, const std::string& from) {
  const auto value = zn::parseJson(text, nullptr, {.allowComments = true});
  if (!value) throw apps::UsageError(unreadable(text, from));
  try {
    return push::textOf(*value);
  } catch (const zn::Exception& problem) {
    throw apps::UsageError(from + ": " + problem.reason());
  }
}

bool complainAbout(std::string_view text, const std::string& from, const std::vector<std::string>& linkSchemes) {
  apps::check::Options options;
  options.now = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  options.linkSchemes = linkSchemes;
  options.allowComments = true;
  options.isOwnPush = true;
  options.longestPayload = SIZE_MAX;  // a matter of the sender, which says so itself
  const auto findings = apps::check::check(apps::check::Kind::payload, text, options);
  for (const auto& finding : findings) {
    std::fprintf(stderr, "%s\n", zn::singleLine(apps::check::lineFor(from, finding)).c_str());
  }
  return !findings.empty();
}

}  // namespace zinpush
