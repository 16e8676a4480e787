#pragma once

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Tests/Support/TestHome.h"  // for the tests that include this
#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/HomeDirectories.h"

namespace zn::test {

/// What happened, in order, from any thread.
class Record {
 public:
  void add(std::string what) {
    const Lock lock(mutex_);
    all_.push_back(std::move(what));
  }
  std::vector<std::string> all() const {
    const Lock lock(mutex_);
    return all_;
  }
  std::size_t count() const { return all().size(); }
  /// What was added since the last call.
  std::vector<std::string> take() {
    const Lock lock(mutex_);
    return std::exchange(all_, {});
  }

 private:
  mutable Mutex mutex_;
  std::vector<std::string> all_ ZN_GUARDED_BY(mutex_);
};

class RecordingLog final : public DeviceSystemLog, public Record {
 public:
  void write(const std::string& text) override { add(text); }
  void diagnostic(const std::string& text) override { add(text); }
};

/// A device without threads: a home of its own, a clock that stands, queues that never run. For tests of what needs
/// folders and a log only, so that they may fork.
class PlainDevice final : public Device {
 public:
  /// Installs one for the process, once. Tests of other devices do not run in the same process.
  static PlainDevice& installed() {
    static PlainDevice* const device = [] {
      const auto made = std::make_shared<PlainDevice>();
      Device::install(made);
      return made.get();
    }();
    return *device;
  }

  PlainDevice() {
    clock = std::make_unique<Clock>();
    queues = std::make_unique<Queues>();
    directories = std::make_unique<HomeDirectories>(makeTemporaryFolder("zntest", MemoryFolder::parent()));
    systemLog = std::make_unique<RecordingLog>();
  }
  ~PlainDevice() override { PlainDevice::shutDown(); }
  /// The installed device outlives the test, its folder does not.
  void shutDown() override {
    std::error_code ignored;
    std::filesystem::remove_all(directories->home(), ignored);
  }

  RecordingLog& log() { return static_cast<RecordingLog&>(*systemLog); }

 private:
  struct Clock final : DeviceClock {
    Date now() const override { return {1700000000}; }
    long secondsFromGMT(Date) const override { return 0; }
  };
  struct Queues final : DeviceQueues {
    void async(Queue, Task) override {}
    void after(Queue, double, Task) override {}
    bool isMainThread() const override { return true; }
  };
};

}  // namespace zn::test
