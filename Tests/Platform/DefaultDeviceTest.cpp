#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <optional>
#include <thread>

#include "Tests/Support/PlainDevice.h"
#include "Tests/Support/TestHome.h"
#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"

namespace {

using zn::Queue;

/// The installed device of a process, each time in a fresh one: the test runs again there, up to the statement that
/// must exit. Both processes use one folder.
class DefaultDeviceDeathTest : public testing::Test {
 protected:
  static constexpr const char* kFolder = "ZN_TEST_FOLDER";
  void SetUp() override {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    if (!getenv(kFolder)) made_.emplace();
    folder_ = made_ ? made_->path() : getenv(kFolder);
    setenv(kFolder, folder_.c_str(), 1);
    setenv("XDG_DATA_HOME", folder_.c_str(), 1);
  }
  void TearDown() override {
    if (made_) unsetenv(kFolder);
  }

  std::string folder_;
  std::optional<zn::test::TemporaryFolder> made_;
};

[[noreturn]] void useTheDefaultDevice() {
  std::promise<void> done;
  zn::dispatchAsync(Queue::global, [&] {
    zn::dispatchAsync(Queue::main, [&] {
      std::fprintf(stderr, "main: %d, ", zn::isMainThread());
      done.set_value();
    });
  });
  done.get_future().wait();
  try {
    zn::Device::install(std::make_shared<zn::test::PlainDevice>());
  } catch (const zn::Exception& failure) {
    std::fputs(failure.what(), stderr);
  }
  std::exit(0);
}

TEST_F(DefaultDeviceDeathTest, IsInstalledByTheFirstUseAndOnlyOnce) {
  EXPECT_EXIT(useTheDefaultDevice(), testing::ExitedWithCode(0), "main: 1, the default device is installed already, by a use of the library before");
  EXPECT_TRUE(std::filesystem::is_directory(folder_ + "/zintar/Library"));
  EXPECT_THROW(zn::Device::install(std::make_shared<zn::Device>()), zn::Exception) << "it has no clock";
}

[[noreturn]] void writeOneFile(const std::string& temporary) {
  setenv("TMPDIR", temporary.c_str(), 1);
  const std::string path = zn::Device::current().directories->preferences() + "/probe";
  std::string error;
  std::fputs(zn::replaceFile(path, {}, &error) ? "written" : error.c_str(), stderr);
  std::exit(0);
}

TEST_F(DefaultDeviceDeathTest, KeepsFilesElsewhereWhereItsHomeCannotBeUsed) {
  const std::string file = folder_ + "/file";
  ASSERT_TRUE(zn::replaceFile(file, {}));
  setenv("XDG_DATA_HOME", file.c_str(), 1);
  EXPECT_EXIT(writeOneFile(folder_), testing::ExitedWithCode(0),
              "zintar: cannot make folder .*: Not a directory; files are kept in .*/zintar-.* instead\nwritten");
  EXPECT_EXIT(writeOneFile(file), testing::ExitedWithCode(0),
              "zintar: cannot make folder .*; no files are kept\ncannot write .*: Not a directory");
}

[[noreturn]] void exitFromATask(Queue queue) {
  std::atomic<bool> stop{false};
  zn::dispatchAsync(Queue::global, [&] {
    std::fputs("running", stderr);
    zn::dispatchAsync(queue, [&] {
      stop = true;
      std::exit(3);
    });
    while (!stop) std::this_thread::yield();
  });
  for (;;) pause();
}

TEST_F(DefaultDeviceDeathTest, ATaskMayEndTheProcessWhileOthersRun) {
  EXPECT_EXIT(exitFromATask(Queue::main), testing::ExitedWithCode(3), "running");
  EXPECT_EXIT(exitFromATask(Queue::global), testing::ExitedWithCode(3), "running");
}

TEST_F(DefaultDeviceDeathTest, TheEndOfTheProcessDoesNotWaitForEver) {
  const auto exitWhileATaskRuns = [] {
    std::promise<void> begun;
    zn::dispatchAsync(Queue::main, [&] {
      begun.set_value();
      for (;;) pause();
    });
    begun.get_future().wait();
    std::exit(4);
  };
  EXPECT_EXIT(
      exitWhileATaskRuns(), testing::ExitedWithCode(4),
      "^zintar: a task of the main queue is still running; the process ends without waiting for it any longer\n$");
}

TEST_F(DefaultDeviceDeathTest, AForkedChildMayExit) {
#ifdef ZN_SANITIZED
  GTEST_SKIP() << "a sanitizer's allocator may be locked for ever in a child of a process with threads";
#endif
  const auto forkAndWait = [] {
    zn::Device::current();
    const pid_t child = fork();
    if (child == 0) std::exit(7);
    int status = 0;
    waitpid(child, &status, 0);
    std::exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
  };
  EXPECT_EXIT(forkAndWait(), testing::ExitedWithCode(7), "");
}

}  // namespace
