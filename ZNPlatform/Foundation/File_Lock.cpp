#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

#include "ZNPlatform/Foundation/File.h"

namespace zn {

namespace {

/// A descriptor that holds the lock, or -1; `error` is then empty where another holder is the reason.
int openLocked(const std::string& path, int operation, std::string* error) {
  if (error) error->clear();
  const auto failed = [&](int code) {
    if (error) *error = "cannot lock " + path + ": " + std::generic_category().message(code);
    return -1;
  };
  int descriptor;
  do descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  while (descriptor < 0 && errno == EINTR);
  if (descriptor < 0) return failed(errno);
  // flock belongs to the open file, not to the process, so it also excludes other holders of this process.
  while (::flock(descriptor, operation) != 0) {
    const int code = errno;
    if (code == EINTR) continue;
    ::close(descriptor);
    return code == EWOULDBLOCK ? -1 : failed(code);
  }
  return descriptor;
}

}  // namespace

std::optional<FileLock> FileLock::wait(const std::string& path, std::string* error) {
  const int descriptor = openLocked(path, LOCK_EX, error);
  if (descriptor < 0) return std::nullopt;
  return FileLock(descriptor);
}

std::optional<FileLock> FileLock::wait(const std::string& path, std::chrono::milliseconds patience,
                                       std::string* error) {
  // There is no timed wait for such a lock. A busy one is free for moments only, so they must not be missed.
  const auto deadline = std::chrono::steady_clock::now() + patience;
  std::string problem;
  for (;;) {
    std::optional<FileLock> lock = tryNow(path, &problem);
    if (lock || !problem.empty() || std::chrono::steady_clock::now() >= deadline) {
      if (error) *error = problem;
      return lock;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
}

std::optional<FileLock> FileLock::tryNow(const std::string& path, std::string* error) {
  const int descriptor = openLocked(path, LOCK_EX | LOCK_NB, error);
  if (descriptor < 0) return std::nullopt;
  return FileLock(descriptor);
}

FileLock::FileLock(FileLock&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}

FileLock& FileLock::operator=(FileLock&& other) noexcept {
  std::swap(descriptor_, other.descriptor_);
  return *this;
}

FileLock::~FileLock() {
  if (descriptor_ >= 0) ::close(descriptor_);  // lets go of the lock
}

}  // namespace zn
