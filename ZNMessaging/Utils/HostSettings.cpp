#include "ZNMessaging/Utils/HostSettings_p.h"

#include "ZNPlatform/Foundation/NeverDestroyed.h"

namespace zn {

namespace {
std::atomic<void (*)()> startModule{nullptr};
}

void HostSettings::setStart(void (*start)()) { startModule = start; }

HostSettings& HostSettings::shared() {
  if (const auto start = startModule.load()) start();
  static NeverDestroyed<HostSettings> settings;
  return *settings;
}

}  // namespace zn
