#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/RealClock.h"

namespace zn {

/// Tasks in the order in which they fall due, and of equal times in the order in which they were queued. The clock
/// stands still unless `advanceTo` or `setBack` moves it. Thread: queueing and reading the clock from any; running
/// belongs to the thread that made the line, which is the main thread.
class TaskLine {
 public:
  /// Exceptions that leave tasks go to the device's system log. The device outlives the line's running.
  TaskLine(const Device& device, double start) : device_(device), now_(start) {}

  double now() const;
  void queue(Queue queue, double delay, Task task);

  /// Runs everything due up to `time`, in order, and leaves the clock there. Throws Exception when a task calls it.
  std::size_t advanceTo(double time);
  void setBack(double time);
  /// Drops all tasks, also those queued from now on.
  void close();

  bool isMainThread() const { return std::this_thread::get_id() == mainThread_ && !inBackground_; }
  void runInBackground(const std::function<void()>& body);

 private:
  struct Entry {
    Queue queue = Queue::main;
    Task task;
  };
  std::optional<Entry> takeDue(double time);
  void run(Entry entry);

  const Device& device_;
  const std::thread::id mainThread_ = std::this_thread::get_id();
  bool inBackground_ = false;  // of the main thread's own
  bool running_ = false;       // likewise

  mutable Mutex mutex_;
  double now_ ZN_GUARDED_BY(mutex_);
  std::uint64_t queued_ ZN_GUARDED_BY(mutex_) = 0;
  bool closed_ ZN_GUARDED_BY(mutex_) = false;
  std::map<std::pair<double, std::uint64_t>, Entry> tasks_ ZN_GUARDED_BY(mutex_);
};

class SimulatedClock : public ClockInZoneOfProcess {
 public:
  explicit SimulatedClock(const std::shared_ptr<TaskLine>& line) : line_(line) {}
  Date now() const override { return Date{line_->now()}; }

  /// Throws Exception for a zone that is neither a POSIX time zone text nor in the system's database.
  static void setZone(const std::string& zone);

 private:
  const std::shared_ptr<TaskLine> line_;
};

class SimulatedQueues : public DeviceQueues {
 public:
  explicit SimulatedQueues(const std::shared_ptr<TaskLine>& line) : line_(line) {}
  void async(Queue queue, Task task) override { line_->queue(queue, 0, std::move(task)); }
  void after(Queue queue, double seconds, Task task) override { line_->queue(queue, seconds, std::move(task)); }
  bool isMainThread() const override { return line_->isMainThread(); }

 private:
  const std::shared_ptr<TaskLine> line_;
};

}  // namespace zn
