#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>
#include <utility>

#include "ZNPlatform/Foundation/Descriptor_p.h"
#include "ZNPlatform/Foundation/File.h"

namespace zn {

namespace {

/// One that holds the lock, or none; `error` is then empty where another holder is the reason.
Descriptor openLocked(const std::string& path, int operation, std::string* error) {
  if (error) error->clear();
  const auto failed = [&](int code) {
    if (error) *error = "cannot lock " + path + ": " + std::generic_category().message(code);
    return Descriptor();
  };
  Descriptor file = openFile(path.c_str(), O_RDWR | O_CREAT);
  if (!file) return failed(errno);
  // flock belongs to the open file, not to the process, so it also excludes other holders of this process.
  while (::flock(file.get(), operation) != 0) {
    if (errno == EINTR) continue;
    return errno == EWOULDBLOCK ? Descriptor() : failed(errno);
  }
  return file;
}

}  // namespace

std::optional<FileLock> FileLock::wait(const std::string& path, std::string* error) {
  Descriptor file = openLocked(path, LOCK_EX, error);
  return file ? std::optional(FileLock(file.release())) : std::nullopt;
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
  Descriptor file = openLocked(path, LOCK_EX | LOCK_NB, error);
  return file ? std::optional(FileLock(file.release())) : std::nullopt;
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
