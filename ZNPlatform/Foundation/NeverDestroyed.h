#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace zn {

/// Holds an instance that lives until the process has ended, for statics: threads that still run at exit may use it.
///
///     static const zn::NeverDestroyed shared(std::make_shared<Thing>());
///     return *shared;
template <class T>
class NeverDestroyed {
 public:
  NeverDestroyed() { new (bytes_) T(); }
  explicit NeverDestroyed(T value) { new (bytes_) T(std::move(value)); }
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  T& operator*() { return *std::launder(reinterpret_cast<T*>(bytes_)); }
  const T& operator*() const { return *std::launder(reinterpret_cast<const T*>(bytes_)); }
  T* operator->() { return &**this; }
  const T* operator->() const { return &**this; }

 private:
  alignas(T) std::byte bytes_[sizeof(T)];
};

}  // namespace zn
