#include "Apps/Servers/GrowingPool.h"

#include <system_error>
#include <utility>

namespace apps {

GrowingPool::Enqueued GrowingPool::enqueue(std::function<void()> connection) {
  const std::lock_guard<std::mutex> lock(mutex_);
  waiting_.push_back(std::move(connection));
  if (waiting_.size() > idle_ && threads_.size() < kMostThreads) {
    try {
      threads_.emplace_back([this] { work(); });
    } catch (const std::system_error&) {
      if (threads_.empty()) throw;  // otherwise the next thread that gets free takes the connection
    }
  }
  changed_.notify_one();
  return Enqueued(true);
}

void GrowingPool::shutdown() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void GrowingPool::work() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    ++idle_;
    changed_.wait(lock, [this] { return !waiting_.empty() || ending_; });
    --idle_;
    if (waiting_.empty()) return;
    const std::function<void()> connection = std::exchange(waiting_.front(), {});
    waiting_.pop_front();
    lock.unlock();
    connection();
    lock.lock();
  }
}

}  // namespace apps
