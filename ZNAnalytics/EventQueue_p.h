#pragma once

#include <cstdint>
#include <string>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// Keys of a queued event that more than its maker looks at.
inline constexpr const char* kQueuedEventID = "id";
inline constexpr const char* kQueuedEventName = "name";

/// Events that wait to be sent: one JSON line each in `Library/ZNAnalytics/Events.jsonl`, appended as they come. Holds
/// at most `maximumBytes`; then the older half is dropped, with a diagnostic. What was sent is blanked at once, so that
/// a killed process sends it no more, and leaves the file when nothing is left to send. Thread: any.
class ZN_EXPORT EventQueue {
 public:
  static constexpr std::int64_t maximumBytes = 4 << 20;

  struct Batch {
    Value events;            ///< an array, oldest first
    std::int64_t bytes = 0;  ///< what they take at the front of the queue
  };

  ~EventQueue();
  void append(const Value& event);
  std::int64_t bytes();  ///< what all that waits takes
  /// The oldest events: at most that many, whose lines have at most that many bytes, but always one if there is one.
  Batch read(std::size_t maximumEvents, std::int64_t maximumBytes);
  void remove(const Batch& batch);  ///< the batch read last, and nothing that came after it
  /// Keeps an event that its server does not take in a file beside the queue's, of `maximumBytes` at most; returns its
  /// path, or "" with a diagnostic where it could not be kept.
  std::string setAside(const Value& event);

 private:
  bool openLocked() ZN_REQUIRES(mutex_);
  bool keepForeignFileLocked() ZN_REQUIRES(mutex_);
  void closeLocked() ZN_REQUIRES(mutex_);
  std::string readFrontLocked(std::size_t most) ZN_REQUIRES(mutex_);
  void blankLocked(std::int64_t bytes) ZN_REQUIRES(mutex_);
  void dropFrontLocked(std::int64_t bytes) ZN_REQUIRES(mutex_);
  void appendLocked(const std::string& line) ZN_REQUIRES(mutex_);
  void reportLocked(const std::string& problem) ZN_REQUIRES(mutex_);

  Mutex mutex_;                               // orders the file's users; nothing but the file is touched under it
  std::string report_ ZN_GUARDED_BY(mutex_);  // for the device's log, which may use this queue: told without the lock
  std::string path_ ZN_GUARDED_BY(mutex_);
  int descriptor_ ZN_GUARDED_BY(mutex_) = -1;
  std::int64_t size_ ZN_GUARDED_BY(mutex_) = 0;
  std::int64_t front_ ZN_GUARDED_BY(mutex_) = 0;    // where the oldest event begins that was not sent
  std::int64_t dropped_ ZN_GUARDED_BY(mutex_) = 0;  // bytes that left at the front since a batch was read
  bool reported_ ZN_GUARDED_BY(mutex_) = false;
};

}  // namespace zn
