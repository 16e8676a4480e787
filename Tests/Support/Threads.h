#pragma once

#include <functional>
#include <thread>
#include <vector>

namespace zn::test {

/// Runs `work` on so many threads, each with its number, until all have ended.
inline void onThreads(int count, const std::function<void(int number)>& work) {
  std::vector<std::thread> threads;
  for (int number = 0; number < count; ++number) threads.emplace_back(work, number);
  for (std::thread& each : threads) each.join();
}

}  // namespace zn::test
