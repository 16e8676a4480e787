#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace zn {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() { close(); }

  explicit operator bool() const { return number_ >= 0; }
  int get() const { return number_; }
  int release() { return std::exchange(number_, -1); }
  /// False where closing reports that something was not written.
  bool close() { return number_ < 0 || ::close(release()) == 0; }

 private:
  int number_ = -1;
};

/// Opens a file, which the processes that this one starts do not get; none, with errno, where it cannot. What is made
/// is for its owner only.
inline Descriptor openFile(const char* path, int flags, int folder = AT_FDCWD) {
  int number;
  do number = ::openat(folder, path, flags | O_CLOEXEC, 0600);
  while (number < 0 && errno == EINTR);
  return Descriptor(number);
}

}  // namespace zn
