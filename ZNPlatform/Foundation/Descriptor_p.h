#pragma once

#include <unistd.h>

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

}  // namespace zn
