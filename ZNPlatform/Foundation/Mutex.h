#pragma once

#include <mutex>

#include "ZNPlatform/Export.h"

#define ZN_GUARDED_BY(x) ZN_THREAD_ANNOTATION(guarded_by(x))
#define ZN_REQUIRES(...) ZN_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define ZN_EXCLUDES(...) ZN_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))

namespace zn {

/// std::mutex that clang's thread-safety analysis understands. Never recursive.
class ZN_THREAD_ANNOTATION(capability("mutex")) Mutex {
 public:
  void lock() ZN_THREAD_ANNOTATION(acquire_capability()) { mutex_.lock(); }
  void unlock() ZN_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
  bool try_lock() ZN_THREAD_ANNOTATION(try_acquire_capability(true)) { return mutex_.try_lock(); }

  /// Tells the analysis that the lock is held, in code that is called by way of a function object.
  void assertHeld() const ZN_THREAD_ANNOTATION(assert_capability(this)) {}

  /// For std::condition_variable; the analysis does not follow it.
  std::mutex& native() { return mutex_; }

 private:
  std::mutex mutex_;
};

/// Holds a Mutex for a scope.
class ZN_THREAD_ANNOTATION(scoped_lockable) Lock {
 public:
  explicit Lock(Mutex& mutex) ZN_THREAD_ANNOTATION(acquire_capability(mutex)) : mutex_(mutex) { mutex_.lock(); }
  /// Takes over one that is held already.
  Lock(Mutex& mutex, std::adopt_lock_t) ZN_THREAD_ANNOTATION(requires_capability(mutex)) : mutex_(mutex) {}
  ~Lock() ZN_THREAD_ANNOTATION(release_capability()) { mutex_.unlock(); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace zn
