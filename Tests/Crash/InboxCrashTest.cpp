#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <thread>

#include "Tests/Support/StressScale.h"
#include "Tests/Support/TestHome.h"
#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxData.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"

namespace {

/// Runs the saver, kills it after a random while, and returns the last generation that it reported (0: none).
std::int64_t runAndKill(const std::string& home, std::mt19937& random) {
  int ends[2];
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(ends[1], STDOUT_FILENO);
    execl(ZN_INBOX_SAVER, ZN_INBOX_SAVER, home.c_str(), nullptr);
    _exit(127);
  }
  close(ends[1]);
  std::int64_t last = 0;
  std::int64_t generation = 0;
  const auto readOne = [&] { return read(ends[0], &generation, sizeof generation) == sizeof generation; };
  if (readOne()) last = generation;  // it is up and saving
  std::this_thread::sleep_for(std::chrono::microseconds(std::uniform_int_distribution<>(0, 6000)(random)));
  kill(child, SIGKILL);
  while (readOne()) last = generation;
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status)) << "the saver ended by itself with status " << status;
  return last;
}

TEST(InboxCrash, AKillAtAnyMomentOfASaveLeavesTheOldFileOrTheNewOne) {
  const zn::test::MemoryFolder folder;
  const std::string home = folder / "home";
  const std::string file = home + "/Library/ZNInbox/InboxData";
  std::mt19937 random(20240229);
  const int kills = zn::test::scaled(300, 20);
  for (int i = 0; i < kills; ++i) {
    const std::int64_t reported = runAndKill(home, random);
    ASSERT_GT(reported, 0);
    const auto read = zn::NSKeyedUnarchiver::unarchiveObjectWithFile(file, ZNInboxData::archivedClasses());
    ASSERT_FALSE(read.damaged) << read.error;
    const auto data = std::dynamic_pointer_cast<ZNInboxData>(read.root);
    ASSERT_TRUE(data);
    const auto messages = data->inboxMessages();
    ASSERT_EQ(messages->size(), 200u);
    const std::int64_t found =
        messages->front()->notificationPayloadDict().validObjectForKeyPath("zintar.generation").integer();
    ASSERT_TRUE(found == reported || found == reported + 1) << found << " after " << reported;
    for (const auto& entry : *messages) {
      ASSERT_EQ(entry->zintarDict()["generation"], found) << "a mixture of two saves";
    }
  }
  int files = 0;
  for ([[maybe_unused]] const auto& each : std::filesystem::directory_iterator(home + "/Library/ZNInbox")) ++files;
  EXPECT_LE(files, 2) << "killed savers must not leave more than one temporary file behind";
}

}  // namespace
