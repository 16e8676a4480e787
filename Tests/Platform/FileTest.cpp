#include "ZNPlatform/Foundation/File.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>

#include "Tests/Support/FileSizeLimit.h"
#include "Tests/Support/TestHome.h"

namespace {

namespace fs = std::filesystem;
using zn::Data;
using zn::test::TemporaryFolder;

Data bytesOf(std::string_view text) { return {text.begin(), text.end()}; }

std::string textOf(const std::string& path) {
  const auto bytes = zn::readFile(path);
  return bytes ? std::string(bytes->begin(), bytes->end()) : "(no file)";
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

bool replace(const std::string& path, std::string_view text, std::string* error = nullptr) {
  return zn::replaceFile(path, bytesOf(text), error);
}

TEST(File, ReadingTellsAMissingFileFromAnUnreadableOne) {
  const TemporaryFolder folder;
  std::string error = "left from before";
  EXPECT_FALSE(zn::readFile(folder / "missing", &error));
  EXPECT_EQ(error, "");
  EXPECT_FALSE(zn::readFile(folder.path(), &error));
  EXPECT_EQ(error, "cannot read " + folder.path() + ": Is a directory");

  ASSERT_TRUE(replace(folder / "empty", ""));
  EXPECT_EQ(zn::readFile(folder / "empty", &error), Data());
  const std::string large(100'000, 'x');
  ASSERT_TRUE(replace(folder / "large", large));
  EXPECT_EQ(textOf(folder / "large"), large);
  EXPECT_GT(zn::readFile("/proc/self/status")->size(), 100u) << "a file that has no size";
}

TEST(File, ReplacingLeavesOnlyTheNewFileReadableByItsOwnerOnly) {
  const TemporaryFolder folder;
  const std::string path = folder / "state";
  ASSERT_TRUE(replace(path, "first"));
  ASSERT_TRUE(replace(path, "2"));
  EXPECT_EQ(textOf(path), "2");
  EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"state"});
  EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write);

  fs::create_symlink(path, folder / "link");
  ASSERT_TRUE(replace(folder / "link", "3"));
  EXPECT_FALSE(fs::is_symlink(folder / "link"));
  EXPECT_EQ(textOf(path), "2") << "what a link pointed to is another file";
}

TEST(File, FailedReplacementKeepsTheOldFileAndLeavesNothingBehind) {
  const TemporaryFolder folder;
  const std::string path = folder / "state";
  std::string error;
  ASSERT_TRUE(replace(path, "old"));
  {
    const zn::test::FileSizeLimit limit(4096);
    EXPECT_FALSE(replace(path, std::string(10'000, 'x'), &error));
  }
  EXPECT_EQ(error, "cannot write " + path + ": File too large");
  EXPECT_EQ(textOf(path), "old");

  EXPECT_FALSE(replace(folder / "no/state", "x", &error));
  EXPECT_EQ(error, "cannot write " + (folder / "no/state") + ": No such file or directory");
  fs::create_directory(folder / "taken");
  EXPECT_FALSE(replace(folder / "taken", "x", &error));
  EXPECT_EQ(error, "cannot write " + (folder / "taken") + ": Is a directory");
  EXPECT_EQ(namesIn(folder.path()), (std::vector<std::string>{"state", "taken"}));
}

TEST(File, ReplacingRemovesTemporaryFilesOfEndedProcessesOnly) {
  const TemporaryFolder folder;
  const pid_t ended = fork();
  if (ended == 0) _exit(0);
  waitpid(ended, nullptr, 0);
  const std::vector<std::string> kept = {".other.tmp-" + std::to_string(ended),
                                         ".state.tmp-" + std::to_string(getppid()), ".state.tmp-notes"};
  for (const auto& name : kept) std::ofstream(folder / name) << "x";
  std::ofstream(folder / (".state.tmp-" + std::to_string(ended))) << "x";
  // As if an earlier process with our own number had been killed.
  std::ofstream(folder / (".state.tmp-" + std::to_string(getpid()))) << "a much longer text than the new one";

  ASSERT_TRUE(replace(folder / "state", "new"));
  EXPECT_EQ(textOf(folder / "state"), "new");
  std::vector<std::string> expected = kept;
  expected.push_back("state");
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(namesIn(folder.path()), expected);
}

/// Replaces the file over and over, until killed.
[[noreturn]] void keepReplacing(const std::string& path, const std::string& a, const std::string& b, int started) {
  for (bool first = true;; first = false) {
    if (!replace(path, a) || !replace(path, b)) _exit(1);
    if (first && write(started, "x", 1) != 1) _exit(1);
  }
}

TEST(File, AProcessKilledWhileReplacingLeavesOldOrNewContents) {
  const TemporaryFolder folder;
  const std::string path = folder / "state";
  const std::string a(70'000, 'a');
  const std::string b(90'000, 'b');
  std::minstd_rand random(static_cast<unsigned>(getpid()));
  std::uniform_int_distribution<long> nanoseconds(0, 3'000'000);
  int interrupted = 0;
  for (int round = 0; round < 120; ++round) {
    int started[2];
    ASSERT_EQ(pipe(started), 0);
    const pid_t writer = fork();
    if (writer == 0) keepReplacing(path, a, b, started[1]);
    close(started[1]);
    char byte;
    ASSERT_EQ(read(started[0], &byte, 1), 1);
    const timespec moment{0, nanoseconds(random)};
    nanosleep(&moment, nullptr);  // not to wait for something: any moment will do
    kill(writer, SIGKILL);
    int status = 0;
    waitpid(writer, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
    close(started[0]);

    const std::string contents = textOf(path);
    ASSERT_TRUE(contents == a || contents == b) << "a mixture of " << contents.size() << " bytes";
    if (namesIn(folder.path()).size() > 1) ++interrupted;
  }
  EXPECT_GT(interrupted, 0) << "no writer was killed while it wrote";
  ASSERT_TRUE(replace(path, "end"));
  EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"state"});
}

TEST(File, KeepingAsideGivesEveryUnreadableFileOneMoreName) {
  const TemporaryFolder folder;
  const std::string path = folder / "state";
  std::string error;
  EXPECT_EQ(zn::keepAside(path, &error), "");
  EXPECT_EQ(error, "cannot keep aside " + path + ": No such file or directory");

  ASSERT_TRUE(replace(path, "first"));
  EXPECT_EQ(zn::keepAside(path), path + ".unreadable");
  EXPECT_EQ(zn::keepAside(path), path + ".unreadable") << "it has a second name already";
  EXPECT_EQ(textOf(path), "first");
  ASSERT_TRUE(replace(path, "second"));
  EXPECT_EQ(zn::keepAside(path), path + ".unreadable-2");
  ASSERT_TRUE(replace(path, "third"));
  EXPECT_EQ(textOf(path + ".unreadable"), "first");
  EXPECT_EQ(textOf(path + ".unreadable-2"), "second");

  // A folder has no second name, and is no file that could be copied either.
  fs::create_directory(folder / "folder");
  EXPECT_EQ(zn::keepAside(folder / "folder", &error), "");
  EXPECT_NE(error, "");
}

TEST(File, FoldersAreMadeAndRemoved) {
  const TemporaryFolder folder;
  std::string error;
  EXPECT_FALSE(zn::createDirectoryAtPath(folder / "a/b/c", false, &error));
  EXPECT_EQ(error, "cannot make folder " + (folder / "a/b/c") + ": No such file or directory");
  EXPECT_TRUE(zn::createDirectoryAtPath(folder / "a/b/c/", true));
  EXPECT_TRUE(zn::createDirectoryAtPath(folder / "a/b", false)) << "there already";
  EXPECT_EQ(fs::status(folder / "a/b/c").permissions(), fs::perms::owner_all);

  std::ofstream(folder / "a/file") << "x";
  EXPECT_FALSE(zn::createDirectoryAtPath(folder / "a/file", true, &error));
  EXPECT_EQ(error, "cannot make folder " + (folder / "a/file") + ": Not a directory");
  EXPECT_FALSE(zn::createDirectoryAtPath(folder / "a/file/b/c", true, &error));
  EXPECT_FALSE(zn::createDirectoryAtPath("", true, &error));

  EXPECT_TRUE(zn::removeItemAtPath(folder / "a"));
  EXPECT_FALSE(zn::fileExistsAtPath(folder / "a"));
  EXPECT_FALSE(zn::removeItemAtPath(folder / "a", &error));
  EXPECT_EQ(error, "cannot remove " + (folder / "a") + ": No such file or directory");

  EXPECT_EQ(zn::stringByAppendingPathComponent("/a/", "/b"), "/a/b");
  EXPECT_EQ(zn::stringByAppendingPathComponent("/a", "b/c"), "/a/b/c");
  EXPECT_EQ(zn::stringByAppendingPathComponent("", "b"), "b");
}

}  // namespace
