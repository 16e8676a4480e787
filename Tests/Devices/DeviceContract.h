#pragma once

// What every device promises, as tests. A test program that has a device includes this once and names it:
//
//     INSTANTIATE_TEST_SUITE_P(Mine, DeviceContract, testing::Values(zn::test::DeviceKind{"plain", &makeMine}),
//                              zn::test::nameOfKind);

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "Tests/Support/PlainDevice.h"
#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zn::test {

/// A device under test, and how its time passes.
class ContractDevice {
 public:
  virtual ~ContractDevice() = default;
  virtual std::shared_ptr<Device> device() = 0;
  /// Lets a device begin that waits for it; called once it is installed.
  virtual void start() {}
  /// Lets the device work until `done` says so, at most for so many seconds of the device's clock. Called on the thread
  /// that made the device.
  virtual void runUntil(const std::function<bool()>& done, double seconds) = 0;
  /// Lets the device work until nothing is queued for at once or running.
  virtual void settle() = 0;
};

struct DeviceKind {
  std::string name;
  std::function<std::unique_ptr<ContractDevice>()> make;
};

inline void PrintTo(const DeviceKind& kind, std::ostream* out) { *out << kind.name; }
inline std::string nameOfKind(const testing::TestParamInfo<DeviceKind>& info) { return info.param.name; }

}  // namespace zn::test

class DeviceContract : public testing::TestWithParam<zn::test::DeviceKind> {
 protected:
  using Strings = std::vector<std::string>;
  static constexpr double kPatience = 100;  // seconds, for what must happen

  void SetUp() override {
    subject_ = GetParam().make();
    auto log = std::make_unique<zn::test::RecordingLog>();
    log_ = log.get();
    device().systemLog = std::move(log);
  }

  zn::Device& device() { return *subject_->device(); }
  zn::DeviceQueues& queues() { return *device().queues; }
  zn::test::RecordingLog& log() { return *log_; }
  /// Lets the device work until that many things are on record.
  void runUntilCount(std::size_t count) {
    subject_->runUntil([&] { return record_->count() >= count; }, kPatience);
  }
  zn::Task adding(std::string what) {
    return [record = record_, what = std::move(what)] { record->add(what); };
  }

  std::unique_ptr<zn::test::ContractDevice> subject_;
  /// Shared with the tasks: one that runs late must not touch a test that failed.
  const std::shared_ptr<zn::test::Record> record_ = std::make_shared<zn::test::Record>();
  zn::test::RecordingLog* log_ = nullptr;
};

TEST_P(DeviceContract, MainQueueRunsTasksInOrderAndOneAtATimeAlsoWhatTheyQueue) {
  const auto running = std::make_shared<std::atomic<int>>(0);
  Strings expected;
  for (int i = 0; i < 100; ++i) {
    expected.push_back(std::to_string(i));
    queues().async(zn::Queue::main, [this, running, i, record = record_] {
      const bool alone = running->fetch_add(1) == 0;
      queues().async(zn::Queue::main, [] {});
      record->add(std::to_string(i) + (alone && queues().isMainThread() ? "" : " at the same time or elsewhere"));
      running->fetch_sub(1);
    });
  }
  queues().async(zn::Queue::main, [this] {
    queues().async(zn::Queue::main, [this] {
      adding("first")();
      queues().async(zn::Queue::main, adding("fourth"));
    });
    queues().async(zn::Queue::main, adding("second"));
    queues().after(zn::Queue::main, 0, adding("third"));
    queues().after(zn::Queue::main, 1000, adding("fifth"));
  });
  subject_->settle();
  expected.insert(expected.end(), {"first", "second", "third", "fourth"});
  EXPECT_EQ(record_->all(), expected);
}

TEST_P(DeviceContract, DelayedTasksRunWhenTheyAreDueNotWhenTheyWereQueued) {
  for (const zn::Queue queue : {zn::Queue::main, zn::Queue::global}) {
    const std::size_t before = record_->count();
    const double start = device().clock->now().secondsSince1970;
    queues().after(queue, 1000, adding("far"));
    queues().after(queue, 0.02, [this, start, record = record_] {
      constexpr double kSlew = 0.001;  // the clock may be set forwards or back a little while the timer runs
      record->add(device().clock->now().secondsSince1970 < start + 0.02 - kSlew ? "too early" : "near");
    });
    queues().after(queue, -1, adding("now"));
    runUntilCount(before + 2);
    Strings ran = record_->all();
    ran.erase(ran.begin(), ran.begin() + static_cast<std::ptrdiff_t>(before));
    std::sort(ran.begin(), ran.end());  // a busy machine may let both fall due before it runs the first
    EXPECT_EQ(ran, (Strings{"near", "now"}));
  }
}

TEST_P(DeviceContract, DelaysThatAreNoTimesDoNoHarm) {
  for (const double delay : {HUGE_VAL, 1e300}) queues().after(zn::Queue::main, delay, adding("never"));
  for (const double delay : {std::nan(""), -HUGE_VAL}) queues().after(zn::Queue::main, delay, adding("now"));
  runUntilCount(2);
  subject_->settle();
  EXPECT_EQ(record_->all(), (Strings{"now", "now"}));
}

TEST_P(DeviceContract, GlobalTasksAllRunOffTheMainThread) {
  for (int i = 0; i < 50; ++i) {
    queues().async(zn::Queue::global,
                   [this, record = record_] { record->add(queues().isMainThread() ? "on the main thread" : "ran"); });
  }
  subject_->settle();
  EXPECT_EQ(record_->all(), Strings(50, "ran"));
}

TEST_P(DeviceContract, AnExceptionEndsItsTaskOnlyAndIsReported) {
  for (const zn::Queue queue : {zn::Queue::main, zn::Queue::global}) {
    queues().async(queue, [] { throw zn::Exception("first trouble"); });
    queues().async(queue, [] { throw 42; });
    queues().async(queue, adding("still running"));
    subject_->settle();
    const Strings lines = log().take();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NE((lines[0] + lines[1]).find("first trouble"), std::string::npos) << lines[0] << "\n" << lines[1];
  }
  EXPECT_EQ(record_->count(), 2u);
}

TEST_P(DeviceContract, NotificationCompletionsComeOnceAndNeverFromWithinTheCall) {
  try {
    zn::Device::install(subject_->device());
  } catch (const zn::Exception&) {
    GTEST_SKIP() << "another test of this process installed its device";
  }
  subject_->start();
  // Were a completion to run inside its call, its line would stand before the call's.
  zn::DeviceNotifications& notifications = *device().notifications;
  queues().async(zn::Queue::main, [this, &notifications] {
    thread_local bool calling = false;
    const auto once = [record = record_](const std::string& what) {
      record->add(calling ? what + " from within the call" : what);
    };
    calling = true;
    notifications.requestAuthorization(7, [once](bool, const std::optional<std::string>&) { once("authorization"); });
    notifications.getSettings([once](const UNNotificationSettings&) { once("settings"); });
    UNNotificationRequest request;
    request.identifier = "id";
    request.content.title = "Title";
    notifications.add(request, [once](const std::optional<std::string>&) { once("added"); });
    notifications.getPending([once](const std::vector<UNNotificationRequest>&) { once("pending"); });
    notifications.getDelivered([once](const std::vector<UNNotification>&) { once("delivered"); });
    calling = false;
  });
  runUntilCount(5);
  subject_->settle();
  Strings all = record_->all();
  std::sort(all.begin(), all.end());
  EXPECT_EQ(all, (Strings{"added", "authorization", "delivered", "pending", "settings"}));
}

TEST_P(DeviceContract, BackgroundTasksHaveIdentifiersOfTheirOwn) {
  zn::DeviceApplication& application = *device().application;
  const UIBackgroundTaskIdentifier first = application.beginBackgroundTask([] {});
  const UIBackgroundTaskIdentifier second = application.beginBackgroundTask({});
  application.endBackgroundTask(first);
  const UIBackgroundTaskIdentifier third = application.beginBackgroundTask([] {});
  EXPECT_TRUE(first == UIBackgroundTaskInvalid || (first != second && third != second));
  for (const auto each : {first, UIBackgroundTaskInvalid, second, third}) application.endBackgroundTask(each);
}
