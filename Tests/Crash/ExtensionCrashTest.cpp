#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <numeric>
#include <random>

#include "Tests/Support/StressScale.h"
#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"

namespace {

/// A notification service extension, as a process of its own.
pid_t startWriter(const std::string& home, const std::string& file) {
  const pid_t child = fork();
  if (child != 0) return child;
  execl(ZN_ZINEXTENSION, ZN_ZINEXTENSION, "--home", home.c_str(), "--group", "group.test", "--app", "app-1",
        file.c_str(), nullptr);
  _exit(127);
}

class AddedCounter final : public zn::InboxObserver {
 public:
  void inboxChanged(const zn::InboxChange& change) override {
    for (const auto& id : change.added) ++times[std::string(id.string())];
  }
  std::map<std::string, int> times;
};

TEST(ExtensionCrash, WhatKilledWritersLeftComesInOnceWhileTheHostDrains) {
  constexpr int kWriters = 5;
  const int count = zn::test::scaled(2000, 100);
  const zn::test::MemoryFolder folder;
  zn::test::TestDevice device;
  device.device().systemLog = std::make_unique<zn::DeviceSystemLog>();
  const auto inbox = std::make_shared<ZNInboxHandler>();
  const auto counter = std::make_shared<AddedCounter>();
  inbox->addObserver(counter);
  const auto drain = [&] {
    inbox->syncNotificationsFromExtension(nullptr);
    inbox->updateInboxStorage();
    device.device().runPending();
  };
  std::mt19937 random(20240229);
  std::vector<int> stored(kWriters, 0);
  for (int round = 0; *std::min_element(stored.begin(), stored.end()) < count; ++round) {
    std::vector<pid_t> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
      const std::string name = folder / std::to_string(writer);
      std::ofstream lines(name);
      for (int number = stored[writer]; number < count; ++number) {
        lines << R"({"zintar": {"cid": ")" << writer << '-' << number << "\"}}\n";
      }
      lines.close();
      writers.push_back(startWriter(device.home(), name));
    }
    // In the first rounds all are killed after a few drains; then they may finish.
    const bool kills = round < 10;
    if (kills) {
      for (int drains = std::uniform_int_distribution<>(1, 8)(random); drains > 0; --drains) drain();
      for (const pid_t writer : writers) kill(writer, SIGKILL);
    }
    for (int running = kWriters; running > 0;) {
      drain();
      for (int status = 0; running > 0 && waitpid(-1, &status, WNOHANG) > 0; --running) {
        EXPECT_TRUE(kills || status == 0) << status;
      }
    }
    drain();
    for (int writer = 0; writer < kWriters; ++writer) {
      while (counter->times.contains(std::to_string(writer) + "-" + std::to_string(stored[writer]))) ++stored[writer];
    }
    // Nothing beyond a missing one: only what was being written is lost.
    ASSERT_EQ(counter->times.size(), std::accumulate(stored.begin(), stored.end(), std::size_t{0}));
  }
  for (const auto& [id, times] : counter->times) EXPECT_EQ(times, 1) << id;
  EXPECT_EQ(std::make_shared<ZNInboxHandler>()->getAllNotificationCount(), static_cast<std::size_t>(kWriters * count));
  EXPECT_TRUE(device.failures().empty());
}

}  // namespace
