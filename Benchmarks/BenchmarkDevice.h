#pragma once

#include "Tests/Support/TestDevice.h"

namespace zn::test {

/// The one device of the benchmark program; nothing is logged.
inline TestDevice& benchmarkDevice() {
  static TestDevice& device = *[] {
    auto* made = new TestDevice;
    ZNLogger::sharedInstance()->setObserver(nullptr);
    ZNConfigDataManager::sharedInstance()->apply(
        Value::dictionary({{"realTimeTriggersEnabled", true}, {"queryParams", Value::dictionary({{"app", "app-1"}})}}));
    return made;
  }();
  return device;
}

}  // namespace zn::test
