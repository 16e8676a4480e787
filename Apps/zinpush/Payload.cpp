#include "Apps/zinpush/Payload.h"

#include <iostream>
#include <iterator>

#include "Apps/CommandLine.h"
#include "Apps/Push/Message.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zinpush {

std::string readText(const std::string& path) {
  if (path == "-") return {std::istreambuf_iterator<char>(std::cin), {}};
  std::string error;
  const auto bytes = zn::readFile(path, &error);
  if (!bytes) throw apps::UsageError(error.empty() ? path + ": there is no such file" : error);
  return {bytes->begin(), bytes->end()};
}

std::string payloadIn(std::string_view text, const std::string& from) {
  zn::JsonError error;
  const auto value = zn::parseJson(text, &error, {.allowComments = true});
  if (!value) throw apps::UsageError(from + ": " + error.text);
  try {
    return push::textOf(*value);
  } catch (const zn::Exception& problem) {
    throw apps::UsageError(from + ": " + problem.reason());
  }
}

}  // namespace zinpush
