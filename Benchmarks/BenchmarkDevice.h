#pragma once

#include "Tests/Support/TestDevice.h"

namespace zn::test {

/// Its home is on the disk, which saves are measured beside; nothing is logged.
class BenchmarkDevice final : public TestDevice {
 public:
  BenchmarkDevice() : TestDevice(HeadlessDevice::MainQueue::pumped, nullptr, systemTemporaryFolder()) {
    ZNLogger::sharedInstance()->setObserver(nullptr);
    ZNConfigDataManager::sharedInstance()->apply(
        Value::dictionary({{"realTimeTriggersEnabled", true}, {"queryParams", Value::dictionary({{"app", "app-1"}})}}));
  }
};

/// The one of the benchmark program.
inline TestDevice& benchmarkDevice() {
  static BenchmarkDevice device;
  return device;
}

}  // namespace zn::test
