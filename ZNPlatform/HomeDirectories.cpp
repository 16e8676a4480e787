#include "ZNPlatform/HomeDirectories.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

#include "ZNPlatform/Foundation/Exception.h"

namespace zn {

namespace {

/// The user's own folder for data, as the XDG Base Directory standard has it; relative settings do not count.
std::string dataFolder() {
  if (const char* configured = ::secure_getenv("XDG_DATA_HOME"); configured && *configured == '/') return configured;
  std::string home;
  if (const char* set = ::secure_getenv("HOME"); set && *set == '/') {
    home = set;
  } else {
    passwd entry{};
    passwd* found = nullptr;
    char buffer[4096];
    if (::getpwuid_r(::getuid(), &entry, buffer, sizeof buffer, &found) != 0 || !found || !found->pw_dir) {
      throw Exception("no home folder: neither XDG_DATA_HOME nor HOME is set");
    }
    home = found->pw_dir;
  }
  return home + "/.local/share";
}

}  // namespace

std::string HomeDirectories::homeOfApplication(const std::string& applicationID) {
  if (applicationID.empty() || applicationID == "." || applicationID == ".." ||
      applicationID.find('/') != std::string::npos) {
    throw Exception("\"" + applicationID + "\" cannot be an application id: it names a folder");
  }
  return dataFolder() + "/" + applicationID;
}

HomeDirectories::HomeDirectories(std::string home, Use use) : home_(std::move(home)) {
  if (use == Use::none) return;
  std::string error;
  if (!createDirectoryAtPath(home_, true, &error)) throw Exception(error);
  if (use == Use::alone) {
    lock_ = FileLock::tryNow(home_ + "/.lock", &error);
    if (!lock_) throw Exception(error.empty() ? home_ + " is in use by another process" : error);
  }
  for (const std::string& folder : {library(), documents(), preferences()}) {
    if (!createDirectoryAtPath(folder, false, &error)) throw Exception(error);
  }
}

}  // namespace zn
