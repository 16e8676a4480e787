#pragma once

#include <httplib.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace apps {

/// Threads for connections. One is added whenever none is free, so that connections that say nothing, or stop in the
/// middle of a request, hold up no other. Thread: any.
class GrowingPool : public httplib::TaskQueue {
 public:
  /// What the library's own pools answer: nothing, or true in its later versions.
  using Enqueued = decltype(std::declval<httplib::TaskQueue&>().enqueue({}));

  Enqueued enqueue(std::function<void()> connection) override;
  void shutdown() override;

 private:
  void work();

  static constexpr std::size_t kMostThreads = 1000;  // as many connections as descriptors are usually allowed

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> waiting_;  // the rest is guarded by mutex_ too
  std::vector<std::thread> threads_;
  std::size_t idle_ = 0;
  bool ending_ = false;
};

}  // namespace apps
