#include "ZNPlatform/TaskQueue_p.h"

#include <sys/timerfd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

#include "ZNPlatform/Foundation/Exception.h"

namespace zn {

namespace {

/// Longer delays than this are cut, so that no sum of times overflows.
constexpr double kLongestDelay = 1e9;

}  // namespace

void TaskCount::add(Queue queue) {
  {
    const Lock lock(mutex_);
    ++ofLocked(queue);
    if (queue != Queue::main) return;
  }
  changed_.notify_all();
}

void TaskCount::remove(Queue queue, std::size_t number) {
  {
    const Lock lock(mutex_);
    ofLocked(queue) -= number;
    if (main_ + global_ > 0) return;
  }
  changed_.notify_all();
}

void TaskCount::waitForNone() {
  std::unique_lock<std::mutex> lock(mutex_.native());
  changed_.wait(lock, [this]() ZN_THREAD_ANNOTATION(no_thread_safety_analysis) { return main_ + global_ == 0; });
}

bool TaskCount::waitForNoneOrMain() {
  bool none = false;
  std::unique_lock<std::mutex> lock(mutex_.native());
  changed_.wait(lock, [&, this]() ZN_THREAD_ANNOTATION(no_thread_safety_analysis) {
    none = main_ + global_ == 0;
    return none || main_ > 0;
  });
  return none;
}

TaskQueue::Clock::time_point TaskQueue::timeAfter(double seconds) {
  const auto now = Clock::now();
  if (!(seconds > 0)) return now;
  return now + std::chrono::ceil<Clock::duration>(std::chrono::duration<double>(std::min(seconds, kLongestDelay)));
}

void TaskQueue::openDescriptor() {
  descriptor_ = Descriptor(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
  if (!descriptor_) throw Exception("cannot make a timer: " + std::generic_category().message(errno));
}

void TaskQueue::push(double seconds, Task task) {
  const auto due = timeAfter(seconds);
  const bool isDelayed = seconds > 0;
  {
    const Lock lock(mutex_);
    if (closed_) return;
    const std::uint64_t number = ++pushed_;
    heap_.push_back({due, number, isDelayed, std::move(task)});
    if (!isDelayed) count_.add(queue_);
    std::push_heap(heap_.begin(), heap_.end(), comesLater);
    if (heap_.front().number != number) return;  // whoever waits, waits for an earlier one
    armLocked();
  }
  changed_.notify_one();
}

bool TaskQueue::isDueLocked(Clock::time_point now) const { return !heap_.empty() && heap_.front().due <= now; }

Task TaskQueue::popLocked() {
  std::pop_heap(heap_.begin(), heap_.end(), comesLater);
  Task task = std::move(heap_.back().task);
  if (heap_.back().isDelayed) count_.add(queue_);
  heap_.pop_back();
  return task;
}

void TaskQueue::waitLocked(Clock::time_point atMost) {
  // The condition variable knows the standard mutex only; it unlocks and locks what is held already.
  std::unique_lock<std::mutex> held(mutex_.native(), std::adopt_lock);
  if (!heap_.empty()) atMost = std::min(atMost, heap_.front().due);
  if (atMost == Clock::time_point::max()) {
    changed_.wait(held);
  } else {
    changed_.wait_until(held, atMost);
  }
  held.release();
}

Task TaskQueue::take() {
  const Lock lock(mutex_);
  while (!closed_ && !isDueLocked(Clock::now())) waitLocked(Clock::time_point::max());
  if (closed_) return {};
  Task task = popLocked();
  // Another thread may have to run the next one meanwhile; pushing it woke nobody.
  if (!heap_.empty()) changed_.notify_one();
  return task;
}

Task TaskQueue::takeDue() {
  const Lock lock(mutex_);
  return isDueLocked(Clock::now()) ? popLocked() : Task();
}

void TaskQueue::waitForDue(Clock::time_point atMost) {
  const Lock lock(mutex_);
  while (!closed_ && !isDueLocked(Clock::now()) && Clock::now() < atMost) waitLocked(atMost);
}

void TaskQueue::runsDry() {
  const Lock lock(mutex_);
  armLocked();
}

void TaskQueue::armLocked() {
  if (!descriptor_) return;
  itimerspec timer{};  // all zero: off
  if (!heap_.empty()) {
    const auto due = heap_.front().due.time_since_epoch();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(due);
    timer.it_value.tv_sec = seconds.count();
    timer.it_value.tv_nsec = std::chrono::nanoseconds(due - seconds).count();
  }
  ::timerfd_settime(descriptor_.get(), TFD_TIMER_ABSTIME, &timer, nullptr);
}

void TaskQueue::close() {
  std::vector<Entry> dropped;
  {
    const Lock lock(mutex_);
    closed_ = true;
    dropped.swap(heap_);
    armLocked();
  }
  changed_.notify_all();
  const auto counted = std::count_if(dropped.begin(), dropped.end(), [](const Entry& each) { return !each.isDelayed; });
  dropped.clear();  // the tasks' own objects end here, outside the lock: they may call anything
  if (counted > 0) count_.remove(queue_, static_cast<std::size_t>(counted));
}

}  // namespace zn
