#include "ZNPlatform/HeadlessDevice.h"

#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/TemporaryFolder_p.h"
#include "ZNPlatform/HomeDirectories.h"
#include "ZNPlatform/RealClock.h"

namespace zn {

HeadlessDevice::HeadlessDevice() : HeadlessDevice(Options{}) {}

HeadlessDevice::HeadlessDevice(Options options)
    : HeadlessDevice(options,
                     std::make_unique<HomeDirectories>(
                         options.home.empty() ? HomeDirectories::homeOfApplication(options.applicationID)
                                              : absolutePath(options.home),
                         options.sharedStoresOnly ? HomeDirectories::Use::shared : HomeDirectories::Use::alone)) {}

HeadlessDevice::HeadlessDevice(const Options& options, std::unique_ptr<DeviceDirectories> folders)
    : pool_(*this, options.mainQueue, options.backgroundThreads) {
  clock = std::make_unique<RealClock>();
  directories = std::move(folders);
  queues = std::make_unique<PooledQueues>(pool_);
}

HeadlessDevice::~HeadlessDevice() { pool_.leaveDevice(); }

std::shared_ptr<Device> HeadlessDevice::makeDefault(std::string& trouble) {
  // Below a file there can be no other, so all that is written there fails.
  constexpr const char* kNoFolder = "/dev/null";
  try {
    return std::make_shared<HeadlessDevice>();
  } catch (const std::exception& failure) {
    trouble = failure.what();
  }
  Options options;
  try {
    options.home = makeTemporaryFolder("zintar");
    auto device = std::make_shared<HeadlessDevice>(options);
    trouble += "; files are kept in " + options.home + " instead";
    return device;
  } catch (const std::exception& failure) {
    trouble += std::string("; ") + failure.what() + "; no files are kept";
  }
  return std::shared_ptr<Device>(
      new HeadlessDevice(Options{}, std::make_unique<HomeDirectories>(kNoFolder, HomeDirectories::Use::none)));
}

std::size_t HeadlessDevice::runPending() { return pool_.runPending(); }
std::size_t HeadlessDevice::runFor(double seconds) { return pool_.runFor(seconds); }
int HeadlessDevice::wakeDescriptor() const { return pool_.wakeDescriptor(); }
bool HeadlessDevice::waitUntilIdle() { return pool_.waitUntilIdle(); }
void HeadlessDevice::shutDown() { pool_.shutDown(); }

}  // namespace zn
