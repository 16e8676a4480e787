#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace zn::test {

constexpr std::chrono::seconds kPatience(30);

/// For what nobody tells of, such as a file that another process makes.
inline bool waitUntil(const std::function<bool()>& condition) {
  const auto until = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > until) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

/// What happened, in order, for those who wait for it. Thread: any.
template <class T>
class Awaited {
 public:
  void add(T what) {
    const std::lock_guard<std::mutex> lock(mutex_);
    all_.push_back(std::move(what));
    changed_.notify_all();
  }
  std::vector<T> all() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return all_;
  }
  std::vector<T> take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(all_, {});
  }
  std::size_t count() const { return all().size(); }
  /// All, once there are so many; fewer where they do not come.
  std::vector<T> wait(std::size_t count) const {
    return waitFor([count](const std::vector<T>& all) { return all.size() >= count; });
  }
  std::vector<T> waitFor(const std::function<bool(const std::vector<T>&)>& condition) const {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, kPatience, [&] { return condition(all_); });
    return all_;
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<T> all_;
};

}  // namespace zn::test
