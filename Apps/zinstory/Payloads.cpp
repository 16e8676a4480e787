#include "Apps/zinstory/Payloads.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "Apps/Check/Check.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zinstory {

namespace {

namespace fs = std::filesystem;

const char* kindOf(const zn::Value& value) {
  switch (value.type()) {
    case zn::Value::Type::array:
      return "an array";
    case zn::Value::Type::string:
      return "a string";
    case zn::Value::Type::boolean:
      return "a boolean";
    case zn::Value::Type::null:
      return "null";
    default:
      return "a number";
  }
}

/// Where the text's first character that is no blank stands.
std::string placeOfStart(std::string_view text) {
  const std::size_t start = std::min(text.find_first_not_of(" \t\r\n"), text.size());
  const auto before = text.substr(0, start);
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t lastFeed = before.rfind('\n');
  const std::size_t column = lastFeed == before.npos ? start + 1 : start - lastFeed;
  return zn::format("line %ld, column %ld", line, column);
}

/// The module takes any payload, and passes over what it does not know; whoever tries one wants to be told.
void tellFindings(const std::string& path, std::string_view text) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const apps::check::Options options{.now = std::chrono::duration<double>(now).count()};
  for (const auto& finding : apps::check::check(apps::check::Kind::payload, text, options)) {
    std::fputs((apps::check::lineFor(zn::singleLine(path), finding) + "\n").c_str(), stderr);
  }
}

}  // namespace

Payload readPayload(const std::string& path) {
  std::string reason;
  const auto bytes = zn::readFile(path, &reason);
  if (!bytes) throw zn::Exception(reason.empty() ? path + ": No such file" : reason);
  const std::string_view text(reinterpret_cast<const char*>(bytes->data()), bytes->size());
  zn::JsonError problem;
  const auto content = zn::parseJson(text, &problem);
  if (!content) throw zn::Exception(path + ": " + problem.text);
  if (!content->isDictionary()) {
    throw zn::Exception(
        zn::format("%@: %@: a payload must be a JSON object, not %@", path, placeOfStart(text), kindOf(*content)));
  }
  tellFindings(path, text);
  return {fs::path(path).filename().string(), *content};
}

std::vector<std::string> payloadFilesIn(const std::string& folder) {
  std::error_code failure;
  std::vector<std::string> files;
  fs::directory_iterator entry(folder, failure);
  for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
    if (entry->path().extension() == ".json") files.push_back(entry->path().string());
  }
  if (failure) throw zn::Exception(folder + ": " + failure.message());
  if (files.empty()) throw zn::Exception(folder + ": there is no *.json file in this folder");
  std::sort(files.begin(), files.end());
  return files;
}

}  // namespace zinstory
