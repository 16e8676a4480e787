#include "ZNPlatform/Foundation/File.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

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
  ASSERT_TRUE(replace(folder / "state", "old"));
  fs::create_directory(folder / "taken");
  const zn::test::FileSizeLimit limit(4096);
  for (const auto& [name, why] : {std::pair("state", "File too large"), std::pair("taken", "Is a directory"),
                                  std::pair("no/state", "No such file or directory")}) {
    std::string error;
    EXPECT_FALSE(replace(folder / name, std::string(std::string(name) == "state" ? 10'000 : 1, 'x'), &error));
    EXPECT_EQ(error, "cannot write " + (folder / name) + ": " + why);
  }
  EXPECT_EQ(textOf(folder / "state"), "old");
  EXPECT_EQ(namesIn(folder.path()), (std::vector<std::string>{"state", "taken"}));
}

TEST(File, ReplacingRemovesTemporaryFilesOfEndedProcessesOnly) {
  const TemporaryFolder folder;
  const pid_t ended = fork();
  if (ended == 0) _exit(0);
  waitpid(ended, nullptr, 0);
  const std::string of = ".state.tmp-";
  std::vector<std::string> kept = {".other.tmp-" + std::to_string(ended), of + std::to_string(getppid()), of + "notes"};
  for (const auto& name : kept) std::ofstream(folder / name) << "x";
  std::ofstream(folder / (of + std::to_string(ended))) << "x";
  // As if an earlier process with our own number had been killed.
  std::ofstream(folder / (of + std::to_string(getpid()))) << "a much longer text than the new one";
  ASSERT_TRUE(replace(folder / "state", "new"));
  EXPECT_EQ(textOf(folder / "state"), "new");
  kept.push_back("state");
  std::sort(kept.begin(), kept.end());
  EXPECT_EQ(namesIn(folder.path()), kept);
}

TEST(File, KeepingAsideGivesEveryUnreadableFileOneMoreName) {
  const TemporaryFolder folder;
  const std::string path = folder / "state";
  std::string error;
  EXPECT_EQ(zn::keepAside(path, &error), "");
  EXPECT_EQ(error, "cannot keep aside " + path + ": No such file or directory");
  for (const char* name : {".unreadable", ".unreadable-2"}) {
    ASSERT_TRUE(replace(path, name));
    EXPECT_EQ(zn::keepAside(path), path + name);
    EXPECT_EQ(zn::keepAside(path), path + name) << "it has a second name already";
  }
  ASSERT_TRUE(replace(path, "third"));
  for (const char* name : {".unreadable", ".unreadable-2"}) EXPECT_EQ(textOf(path + name), name);
  // A folder has no second name, and is no file that could be copied either.
  EXPECT_EQ(zn::keepAside(folder.path(), &error), "");
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
  ASSERT_TRUE(replace(folder / "a/file", "x"));
  for (const std::string& path : {folder / "a/file", folder / "a/file/b/c", std::string()}) {
    EXPECT_FALSE(zn::createDirectoryAtPath(path, true, &error)) << path;
  }
  EXPECT_TRUE(zn::removeItemAtPath(folder / "a"));
  EXPECT_FALSE(zn::removeItemAtPath(folder / "a", &error));
  EXPECT_EQ(error, "cannot remove " + (folder / "a") + ": No such file or directory");
}

}  // namespace
