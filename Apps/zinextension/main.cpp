// zinextension: a notification service extension.

#include <pwd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "Apps/CommandLine.h"
#include "Apps/zinextension/Options.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/Utils/ExtensionList_p.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/HeadlessDevice.h"

namespace {

using apps::complain;
using apps::kFailed;
using apps::kUnusable;

bool readLine(std::FILE* input, std::string& line) {
  line.clear();
  for (int byte; (byte = std::getc(input)) != EOF;) {
    if (byte == '\n') return true;
    line += static_cast<char>(byte);
  }
  return !line.empty();
}

int storeLines(std::FILE* input, NSUserDefaults& store, const std::string& application) {
  int status = 0;
  long number = 0;
  for (std::string line; readLine(input, line);) {
    const std::string place = "line " + std::to_string(++number) + ": ";
    const auto first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos || line[first] == '#') continue;
    std::string problem;
    zn::JsonError malformed;
    const auto payload = zn::parseJson(line, &malformed);
    if (!payload) {
      problem = "not JSON: " + malformed.text.substr(malformed.text.find("column"));  // without its "line 1"
    } else if (!payload->isDictionary()) {
      problem = "a payload is a JSON object";
    } else {
      try {
        if (zn::appendToExtensionList(store, application, *payload, problem)) continue;
        return complain(place + problem, kFailed);
      } catch (const zn::Exception& unusable) {
        problem = unusable.reason();
      }
    }
    status = complain(place + problem, kUnusable);
  }
  if (!std::ferror(input)) return status;
  return complain(std::string("cannot read: ") + std::strerror(errno), kFailed);
}

int storeCardClick(NSUserDefaults& store, const zinextension::Options& options) {
  std::string error;
  const zn::Value click = zn::Value::dictionary({{zn::payload::clickInfoCampaignID, options.cardClick.first},
                                                 {zn::payload::clickInfoCardID, options.cardClick.second}});
  const auto change = [&](zn::Value& contents) { contents.setObjectNilHandled(click, zn::payload::templateClickInfo); };
  if (store.tryTransaction(change, error)) return 0;
  return complain(error, kFailed);
}

int run(const zinextension::Options& options) {
  zn::HeadlessDevice::Options shared;
  shared.home = options.home;
  shared.backgroundThreads = 0;
  shared.mainQueue = zn::HeadlessDevice::MainQueue::pumped;
  shared.sharedStoresOnly = true;
  zn::Device::install(std::make_shared<zn::HeadlessDevice>(shared));
  const auto store = NSUserDefaults::initWithSuiteName(options.group);
  if (!options.cardClick.first.empty()) return storeCardClick(*store, options);
  if (options.file == "-") return storeLines(stdin, *store, options.application);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(options.file.c_str(), "re"), &std::fclose);
  if (!file) throw zn::Exception(options.file + ": " + std::strerror(errno));
  return storeLines(file.get(), *store, options.application);
}

}  // namespace

/// The libraries look up the user's home folder where none is given; here one always is. The C library's own would want
/// its shared libraries again.
extern "C" int getpwuid_r(uid_t, passwd*, char*, std::size_t, passwd** found) {
  *found = nullptr;
  return ENOENT;
}

int main(int count, char** arguments) {
  zinextension::Options options;
  if (const auto status = zinextension::readOptions(count, arguments, options)) return *status;
  try {
    return run(options);
  } catch (const zn::Exception& problem) {
    return complain(problem.reason(), kFailed);
  }
}
