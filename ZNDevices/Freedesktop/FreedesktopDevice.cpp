#include "ZNDevices/Freedesktop/FreedesktopDevice.h"

#include "ZNPlatform/UIKit/UIApplication.h"

namespace zn {

struct FreedesktopDevice::Parts {};

namespace {
HeadlessDevice::Options headless(const FreedesktopDevice::Options& options) {
  return {.home = options.home,
          .applicationID = options.applicationID,
          .mainQueue = options.mainQueue,
          .backgroundThreads = options.backgroundThreads};
}
}  // namespace

FreedesktopDevice::FreedesktopDevice(Options options)
    : HeadlessDevice(headless(options)), parts_(std::make_unique<Parts>()) {}
FreedesktopDevice::~FreedesktopDevice() = default;

bool FreedesktopDevice::handOver(const Options&, const std::vector<std::string>&) { return false; }
void FreedesktopDevice::start() {}
void FreedesktopDevice::setHost(const std::weak_ptr<DesktopHost>&) {}
void FreedesktopDevice::setApplicationState(UIApplicationState) {}
void FreedesktopDevice::enterForeground() { UIApplication::sharedApplication()->deliverWillEnterForeground(); }
void FreedesktopDevice::setNotificationsAllowed(bool) {}
std::vector<std::string> FreedesktopDevice::missing() const { return {}; }
void FreedesktopDevice::shutDown() { HeadlessDevice::shutDown(); }

}  // namespace zn
