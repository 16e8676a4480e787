#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <thread>

#include "Tests/Support/StressScale.h"
#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNPlatform/Foundation/Descriptor_p.h"

namespace {

/// Notification service extensions and the application at the same time, as processes of their own.
class ExtensionCrash : public ::testing::Test {
 protected:
  template <class... Arguments>
  static pid_t start(int output, const char* program, const Arguments&... arguments) {
    const pid_t child = fork();
    if (child != 0) return child;
    if (output >= 0) dup2(output, STDOUT_FILENO);
    execl(program, program, arguments..., nullptr);
    _exit(127);
  }
  static int end(pid_t child, int signal = 0) {
    if (signal) kill(child, signal);
    int status = 0;
    waitpid(child, &status, 0);
    return status;
  }
  pid_t startWriter(const std::string& home, const std::string& file) {
    return start(-1, ZN_ZINEXTENSION, "--home", home.c_str(), "--group", "group.test", "--app", "app-1", file.c_str());
  }
  std::string inFolder(const std::string& name) const { return folder_ / name; }

 private:
  zn::test::MemoryFolder folder_;
};

class AddedCounter final : public zn::InboxObserver {
 public:
  void inboxChanged(const zn::InboxChange& change) override {
    for (const auto& id : change.added) ++times[std::string(id.string())];
  }
  std::map<std::string, int> times;
};

TEST_F(ExtensionCrash, WhatKilledWritersLeftComesInOnceWhileTheHostDrains) {
  constexpr int kWriters = 5;
  const int count = zn::test::scaled(2000, 100);
  zn::test::TestDevice device;
  device.device().systemLog = std::make_unique<zn::DeviceSystemLog>();
  const auto inbox = std::make_shared<ZNInboxHandler>();
  const auto counter = std::make_shared<AddedCounter>();
  inbox->addObserver(counter);
  ZNConfigDataManager::sharedInstance()->apply(zn::Value::dictionary({{"appID", "app-1"}}));
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
      const std::string name = inFolder(std::to_string(writer));
      std::ofstream lines(name);
      for (int number = stored[writer]; number < count; ++number) {
        lines << R"({"zintar": {"cid": ")" << writer << '-' << number << "\"}}\n";
      }
      lines.close();
      writers.push_back(startWriter(device.home(), name));
    }
    // In the first rounds all are killed after a few drains; then they may finish.
    constexpr int kKillingRounds = 10;
    if (round < kKillingRounds) {
      for (int drains = std::uniform_int_distribution<>(1, 8)(random); drains > 0; --drains) drain();
      for (const pid_t writer : writers) end(writer, SIGKILL);
    }
    for (bool running = round >= kKillingRounds; running;) {
      drain();
      running = false;
      for (pid_t& writer : writers) {
        int status = 0;
        if (writer != 0 && waitpid(writer, &status, WNOHANG) == writer) {
          EXPECT_EQ(status, 0);
          writer = 0;
        }
        running = running || writer != 0;
      }
    }
    drain();
    for (int writer = 0; writer < kWriters; ++writer) {
      while (counter->times.contains(std::to_string(writer) + "-" + std::to_string(stored[writer]))) ++stored[writer];
    }
    // Nothing beyond a missing one: only what was being written is lost.
    ASSERT_EQ(counter->times.size(), [&] {
      std::size_t sum = 0;
      for (int each : stored) sum += each;
      return sum;
    }());
  }
  for (const auto& [id, times] : counter->times) EXPECT_EQ(times, 1) << id;
  EXPECT_EQ(std::make_shared<ZNInboxHandler>()->getAllNotificationCount(), static_cast<std::size_t>(kWriters * count));
  EXPECT_TRUE(device.failures().empty());
}

/// Runs the synchroniser while a writer writes, and kills it after a random while. Adds what it removed.
class SynchroniserCrash : public ExtensionCrash {
 protected:
  void synchronise(const char* once, std::mt19937& random) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const zn::Descriptor input(ends[0]);
    zn::Descriptor output(ends[1]);
    const pid_t child = start(output.get(), ZN_INBOX_SYNCHRONISER, home_.c_str(), once);
    output.close();
    std::int64_t number = 0;
    const auto readOne = [&] { return read(input.get(), &number, sizeof number) == sizeof number; };
    ASSERT_TRUE(readOne()) << "the synchroniser did not start";
    if (!once) {
      std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution<>(0, 9000)(random)));
      kill(child, SIGKILL);
    }
    while (readOne()) removed_.insert(number);
    const int status = end(child);
    ASSERT_EQ(WIFSIGNALED(status) ? -1 : WEXITSTATUS(status), once ? 0 : -1);
  }

  const std::string home_ = inFolder("home");
  std::set<std::int64_t> removed_;
};

TEST_F(SynchroniserCrash, AKillAtAnyMomentNeitherLosesNorRepeatsAPayload) {
  constexpr int kEach = 24;
  const int kills = zn::test::scaled(100, 25);
  std::mt19937 random(20240301);
  int leftBatches = 0;
  int leftRecords = 0;
  std::int64_t last = 0;
  for (int i = 0; i < kills; ++i) {
    std::ofstream lines(inFolder("lines"));
    for (int each = 0; each < kEach; ++each) {
      ++last;
      const std::string campaign = last % 10 != 0 ? std::to_string(last) : "shared";
      lines << R"({"zintar": {"number": )" << last << R"(, "cid": ")" << campaign << "\"}}\n";
    }
    lines.close();
    const pid_t writer = startWriter(home_, inFolder("lines"));
    synchronise(nullptr, random);
    ASSERT_EQ(end(writer), 0);
    std::error_code none;
    for (const auto& file : std::filesystem::directory_iterator(home_ + "/Library/ZNInbox/Pending", none)) {
      ++(file.path().filename() == "Saved.plist" ? leftRecords : leftBatches);
    }
  }
  synchronise("once", random);
  RecordProperty("batches left by kills", leftBatches);
  RecordProperty("records left by kills", leftRecords);
  EXPECT_TRUE(std::filesystem::is_empty(home_ + "/Library/ZNInbox/Pending"));

  const auto read = zn::NSKeyedUnarchiver::unarchiveObjectWithFile(home_ + "/Library/ZNInbox/InboxData",
                                                                   ZNInboxData::archivedClasses());
  const auto data = std::dynamic_pointer_cast<ZNInboxData>(read.root);
  ASSERT_TRUE(data);
  int unreported = 0;
  std::map<std::int64_t, int> found;
  const zn::InboxListPtr messages = data->inboxMessages();
  for (const auto& entry : *messages) ++found[entry->zintarDict()["number"].integer()];
  for (std::int64_t number = 1; number <= last; ++number) {
    // Of the shared campaign the newest stays. A removal that the kill came upon before it was
    // reported may have happened or not.
    const bool isReplaced = number % 10 == 0 && number + 10 <= last;
    const bool mayBeRemoved = number % 10 != 0 && number % 3 == 0;
    if (isReplaced || removed_.contains(number)) {
      EXPECT_EQ(found[number], 0) << number;
    } else if (!mayBeRemoved || found[number] != 0) {
      EXPECT_EQ(found[number], 1) << number;
    } else {
      ++unreported;
    }
  }
  EXPECT_LE(unreported, kills) << "a kill comes upon one removal at most";
}

}  // namespace
