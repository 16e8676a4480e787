#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "ZNPlatform/Foundation/Descriptor_p.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Mutex.h"

namespace zn {

/// How many tasks of a device are queued for at once or running, so that one can wait for the last of them; delayed
/// tasks count from the moment they start. Its queues share one: a task of one queue may queue the next on another.
/// Thread: any.
class TaskCount {
 public:
  void add(Queue queue);
  void remove(Queue queue, std::size_t number = 1);

  void waitForNone();
  /// For the thread that runs the main queue: false when there is something for it to do first.
  bool waitForNoneOrMain();

 private:
  std::size_t& ofLocked(Queue queue) ZN_REQUIRES(mutex_) { return queue == Queue::main ? main_ : global_; }

  Mutex mutex_;
  std::condition_variable changed_;
  std::size_t main_ ZN_GUARDED_BY(mutex_) = 0;
  std::size_t global_ ZN_GUARDED_BY(mutex_) = 0;
};

/// Tasks in the order in which they fall due; what was queued first goes first among equals. A task for at once is due
/// when it is queued. Thread: any.
class TaskQueue {
 public:
  using Clock = std::chrono::steady_clock;
  static Clock::time_point timeAfter(double seconds);

  /// The tasks of the queue are counted in `count`, which outlives it.
  TaskQueue(Queue queue, TaskCount& count) : queue_(queue), count_(count) {}

  /// Makes a descriptor that is readable while a task is due, for `runsDry` to keep so. Throws Exception.
  void openDescriptor();
  int descriptor() const { return descriptor_.get(); }

  void push(double seconds, Task task);

  /// The next task, when it is due; waits for one. Empty once the queue is closed. Call `hasEnded` after running it.
  Task take();
  /// The next task if it is due now, else empty. Call `hasEnded` after running it.
  Task takeDue();
  void hasEnded() { count_.remove(queue_); }
  /// Waits until a task is due, the queue is closed, or that time comes.
  void waitForDue(Clock::time_point atMost);
  /// Call after the last `takeDue`: the descriptor becomes readable when the next task falls due.
  void runsDry();

  /// Drops all tasks, present and future, and ends all waiting.
  void close();

 private:
  struct Entry {
    Clock::time_point due;
    std::uint64_t number;
    bool isDelayed;
    Task task;
  };
  /// Orders a heap so that its front is the next entry.
  static bool comesLater(const Entry& a, const Entry& b) {
    return a.due != b.due ? a.due > b.due : a.number > b.number;
  }

  bool isDueLocked(Clock::time_point now) const ZN_REQUIRES(mutex_);
  Task popLocked() ZN_REQUIRES(mutex_);
  void waitLocked(Clock::time_point atMost) ZN_REQUIRES(mutex_);
  void armLocked() ZN_REQUIRES(mutex_);

  const Queue queue_;
  TaskCount& count_;  // its lock is taken while ours is held, never the other way round
  Mutex mutex_;
  std::condition_variable changed_;
  std::vector<Entry> heap_ ZN_GUARDED_BY(mutex_);
  std::uint64_t pushed_ ZN_GUARDED_BY(mutex_) = 0;
  bool closed_ ZN_GUARDED_BY(mutex_) = false;
  Descriptor descriptor_;  // a timer on the clock of Clock
};

}  // namespace zn
