#pragma once

#include <cstddef>
#include <deque>

#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zinserver {

/// The requests that came last, bounded in number and in bytes. Thread: any.
class Journal {
 public:
  /// `size`: bytes of the body's text. `fault`: what its answer suffers, or nil.
  void add(double time, int service, const zn::Value& body, std::size_t size, const zn::Value& fault);
  zn::Value entries() const;  ///< oldest first
  zn::Value take();           ///< the same, and forgets them

 private:
  struct Entry {
    zn::Value value;
    std::size_t size;
  };
  zn::Value entriesLocked() const ZN_REQUIRES(mutex_);

  static constexpr std::size_t kMostEntries = 1000;
  static constexpr std::size_t kMostBytes = 16 << 20;

  mutable zn::Mutex mutex_;
  std::deque<Entry> entries_ ZN_GUARDED_BY(mutex_);
  std::size_t bytes_ ZN_GUARDED_BY(mutex_) = 0;
};

}  // namespace zinserver
