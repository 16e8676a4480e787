#include "ZNPlatform/HeadlessDevice.h"

#include <gtest/gtest.h>
#include <poll.h>

#include <barrier>
#include <filesystem>
#include <future>
#include <latch>
#include <thread>

#include "Tests/Devices/PooledContract.h"
#include "Tests/Support/TestHome.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace {

using zn::HeadlessDevice;
using zn::Queue;
using MainQueue = HeadlessDevice::MainQueue;

HeadlessDevice::Options optionsFor(const std::string& home, MainQueue mainQueue = MainQueue::ownThread) {
  HeadlessDevice::Options options;
  options.home = home;
  options.mainQueue = mainQueue;
  return options;
}

INSTANTIATE_TEST_SUITE_P(Headless, DeviceContract, zn::test::pooledKinds<HeadlessDevice>(), zn::test::nameOfKind);

std::string failureOf(const HeadlessDevice::Options& options) {
  try {
    const HeadlessDevice device(options);
  } catch (const zn::Exception& failure) {
    return failure.what();
  }
  return "no failure";
}

class HeadlessDeviceTest : public testing::Test {
 protected:
  const zn::test::TemporaryFolder folder_;
};

TEST_F(HeadlessDeviceTest, HomeFollowsTheBaseDirectoryStandard) {
  HeadlessDevice::Options options;
  options.applicationID = "org.example.App";
  const auto homeOf = [&](const std::string& dataHome, const std::string& home) {
    setenv("XDG_DATA_HOME", dataHome.c_str(), 1);
    setenv("HOME", home.c_str(), 1);
    return HeadlessDevice(options).directories->home();
  };
  EXPECT_EQ(homeOf(folder_ / "data", folder_ / "home"), folder_ / "data/org.example.App");
  EXPECT_EQ(homeOf("", folder_ / "home"), folder_ / "home/.local/share/org.example.App");
  EXPECT_EQ(homeOf("relative", folder_ / "home"), folder_ / "home/.local/share/org.example.App");
  EXPECT_EQ(HeadlessDevice(optionsFor(folder_ / "a/./b/")).directories->library(), folder_ / "a/b/Library");
  for (const char* made : {"data", "data/org.example.App", "data/org.example.App/Preferences", "home/.local"}) {
    EXPECT_EQ(std::filesystem::status(folder_ / made).permissions(), std::filesystem::perms::owner_all) << made;
  }
  for (const char* name : {"", "..", "a/b"}) {
    options.applicationID = name;
    EXPECT_NE(failureOf(options).find("cannot be an application id"), std::string::npos) << name;
  }
}

TEST_F(HeadlessDeviceTest, AHomeBelongsToOneDevice) {
  const std::string home = folder_ / "home";
  {
    const HeadlessDevice device(optionsFor(home));
    EXPECT_EQ(failureOf(optionsFor(home)), home + " is in use by another process");
  }
  EXPECT_EQ(failureOf(optionsFor(home)), "no failure");
}

TEST_F(HeadlessDeviceTest, BackgroundTasksOverlapAndALongOneHoldsUpNoTimer) {
  HeadlessDevice device(optionsFor(folder_ / "home"));
  std::barrier<> both(2), ended(2);  // passed only when two are there at the same time
  std::promise<void> timer;
  device.queues->async(Queue::global, [&] { both.arrive_and_wait(); });
  device.queues->async(Queue::global, [&] { both.arrive_and_wait(); });
  // One thread stays busy from the first timer on until the second one, queued later in time, has run.
  device.queues->after(Queue::global, 0.005, [&, fired = timer.get_future().share()] {
    fired.wait();
    ended.arrive_and_wait();
  });
  device.queues->after(Queue::global, 0.02, [&] { timer.set_value(); });
  ended.arrive_and_wait();
  EXPECT_TRUE(device.waitUntilIdle());
}

TEST_F(HeadlessDeviceTest, APumpedMainQueueWakesTheHostWhenWorkIsDue) {
  HeadlessDevice device(optionsFor(folder_ / "home", MainQueue::pumped));
  const auto isReadable = [&](int milliseconds) {
    pollfd waiting{device.wakeDescriptor(), POLLIN, 0};
    return poll(&waiting, 1, milliseconds) == 1;
  };
  EXPECT_FALSE(isReadable(0));
  EXPECT_EQ(device.runPending(), 0u);
  device.queues->async(Queue::main, [&] { device.queues->async(Queue::main, [] {}); });
  device.queues->after(Queue::main, 1000, [] {});
  EXPECT_TRUE(isReadable(0));
  EXPECT_EQ(device.runPending(), 2u) << "also what the task queued";
  EXPECT_FALSE(isReadable(0)) << "the delayed one is not due yet";
  device.queues->after(Queue::main, 0.01, [] {});
  ASSERT_TRUE(isReadable(-1));
  EXPECT_EQ(device.runPending(), 1u);
  std::thread other([&] {
    EXPECT_EQ(device.runFor(1000), 0u) << "not this thread's work";
    device.queues->async(Queue::main, [] {});
    EXPECT_EQ(device.runPending(), 0u);
  });
  EXPECT_EQ(device.runFor(1000), 1u) << "woken by the other thread";
  other.join();

  HeadlessDevice unpumped(optionsFor(folder_ / "second"));
  EXPECT_EQ(unpumped.wakeDescriptor(), -1);
  EXPECT_EQ(unpumped.runPending(), 0u);
}

TEST_F(HeadlessDeviceTest, WaitsUntilAllThatWasStartedHasEnded) {
  for (const MainQueue mainQueue : {MainQueue::ownThread, MainQueue::pumped}) {
    HeadlessDevice device(optionsFor(folder_ / "home", mainQueue));
    std::atomic<int> hops{0};
    const std::function<void()> hop = [&] {
      const int number = ++hops;
      if (number < 1000) device.queues->async(number % 2 ? Queue::global : Queue::main, hop);
    };
    device.queues->async(Queue::main, hop);
    device.queues->after(Queue::global, 1000, [&] { ++hops; });
    EXPECT_TRUE(device.waitUntilIdle());
    EXPECT_EQ(hops, 1000) << "all hops, and not the task that is far from due";

    std::atomic<bool> fromWithin{true};
    std::promise<void> started;
    device.queues->after(Queue::global, 0.001, [&] {  // delayed, and counted once it runs
      started.set_value();
      fromWithin = device.waitUntilIdle();
    });
    started.get_future().wait();
    EXPECT_TRUE(device.waitUntilIdle());
    EXPECT_FALSE(fromWithin) << "a task does not wait for itself";

    if (mainQueue == MainQueue::pumped) {
      device.queues->async(Queue::main, [&] { ++hops; });
      std::thread other([&] { EXPECT_TRUE(device.waitUntilIdle() && hops == 1001) << "waits for the one that pumps"; });
      device.runPending();
      other.join();
    }
    device.queues->async(Queue::main, [&] { device.shutDown(); });
    device.queues->async(Queue::main, [&] { ADD_FAILURE() << "it was shut down"; });
    EXPECT_TRUE(device.waitUntilIdle()) << "what was dropped is not waited for";
  }
}

TEST_F(HeadlessDeviceTest, ShuttingDownWaitsForRunningTasksAndDropsTheOthers) {
  HeadlessDevice device(optionsFor(folder_ / "home"));
  std::promise<void> started;
  std::promise<void> proceed;
  std::atomic<bool> ended{false};
  std::atomic<int> others{0};
  device.queues->async(Queue::main, [&] {
    started.set_value();
    proceed.get_future().wait();  // until what will not run is let go of
    ended = true;
  });
  started.get_future().wait();
  {
    // The running task goes on when the waiting ones are dropped, so that they cannot have had a chance to run.
    const std::shared_ptr<void> held(nullptr, [&](void*) { proceed.set_value(); });
    device.queues->async(Queue::main, [&, held] { ++others; });
    device.queues->after(Queue::global, 1000, [&, held] { ++others; });
  }
  const auto shutDown = [&] {
    device.shutDown();
    EXPECT_TRUE(ended) << "it returned while a task ran";
  };
  std::thread second(shutDown);
  shutDown();
  second.join();
  const auto late = std::make_shared<int>(0);
  device.queues->async(Queue::global, [&, late] { ++others; });
  EXPECT_EQ(late.use_count(), 1);
  EXPECT_EQ(others, 0);
}

TEST_F(HeadlessDeviceTest, ATaskMayShutItsDeviceDownOrEndIt) {
  for (const Queue queue : {Queue::main, Queue::global}) {
    HeadlessDevice device(optionsFor(folder_ / "home"));
    // Two tasks at once, each of which would have to wait for the other.
    const auto both = std::make_shared<std::barrier<>>(2);
    const auto ended = std::make_shared<std::latch>(2);
    for (const Queue each : {queue, Queue::global}) {
      device.queues->async(each, [&device, both, ended] {
        both->arrive_and_wait();
        device.shutDown();
        ended->count_down();
      });
    }
    ended->wait();
  }
  for (const Queue queue : {Queue::main, Queue::global}) {
    auto device = std::make_shared<HeadlessDevice>(optionsFor(folder_ / "home"));
    std::promise<void> dropped;
    std::promise<void> ended;
    device->queues->async(queue, [device, &ended, mayEnd = dropped.get_future().share()]() mutable {
      mayEnd.wait();
      device.reset();  // the last owner
      ended.set_value();
      throw zn::Exception("there is nobody left to hear this");
    });
    device.reset();
    dropped.set_value();
    ended.get_future().wait();
  }
  auto device = std::make_shared<HeadlessDevice>(optionsFor(folder_ / "pumped", MainQueue::pumped));
  HeadlessDevice& pumped = *device;
  pumped.queues->async(Queue::main, [device] { device->shutDown(); });
  device.reset();  // now the task owns the device
  EXPECT_EQ(pumped.runPending(), 1u);
}

}  // namespace
