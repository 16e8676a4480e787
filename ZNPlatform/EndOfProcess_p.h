#pragma once

#include <chrono>
#include <optional>

namespace zn {

/// The moment up to which the normal end of this process waits for threads; nothing before the end begins. Thread: any.
std::optional<std::chrono::steady_clock::time_point> endOfProcess();

}  // namespace zn
