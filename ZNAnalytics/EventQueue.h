#pragma once

// Tracked events that wait on disk. Not installed API.

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/Mutex.h"
#include "Platform/Foundation/Value.h"

namespace zn {

/// Events that wait to be sent: one JSON line each in `Library/ZNAnalytics/Events.jsonl`, appended as they come. Holds
/// at most `maximumBytes`; then the older half is dropped, with a diagnostic. Thread: any.
class ZN_EXPORT EventQueue {
 public:
  static constexpr std::int64_t maximumBytes = 4 << 20;

  struct Batch {
    Value events;            ///< an array, oldest first
    std::int64_t bytes = 0;  ///< what they take at the beginning of the file
  };

  ~EventQueue();
  void append(const Value& event);
  Batch read();
  void remove(const Batch& batch);  ///< a batch that was sent, and nothing that came after it

 private:
  bool openLocked() ZN_REQUIRES(mutex_);
  void closeLocked() ZN_REQUIRES(mutex_);
  void dropFrontLocked(std::int64_t bytes) ZN_REQUIRES(mutex_);
  void appendLocked(const std::string& line) ZN_REQUIRES(mutex_);
  void reportLocked(const std::string& problem) ZN_REQUIRES(mutex_);

  Mutex mutex_;                               // orders the file's users; nothing but the file is touched under it
  std::string report_ ZN_GUARDED_BY(mutex_);  // for the device's log, which may use this queue: told without the lock
  std::string path_ ZN_GUARDED_BY(mutex_);
  int descriptor_ ZN_GUARDED_BY(mutex_) = -1;
  std::int64_t size_ ZN_GUARDED_BY(mutex_) = 0;
  std::int64_t dropped_ ZN_GUARDED_BY(mutex_) = 0;  // bytes that left at the front since a batch was read
  bool reported_ ZN_GUARDED_BY(mutex_) = false;
};

}  // namespace zn
