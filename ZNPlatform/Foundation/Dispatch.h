#pragma once

#include <functional>

#include "ZNPlatform/Export.h"

namespace zn {

using Task = std::function<void()>;

enum class Queue {
  main,   ///< one task after another, on the main thread
  global  ///< background work of default priority; tasks may run at the same time
};

/// Runs `task` later on a queue of the installed device, after everything queued there before. Never runs it at once,
/// never throws; an exception that leaves a task is stopped and reported to the device's system log.
ZN_EXPORT void dispatchAsync(Queue queue, Task task);
/// The same, not before `seconds` have passed on the device's clock.
ZN_EXPORT void dispatchAfter(Queue queue, double seconds, Task task);
/// Stands for a delayed perform on the calling thread's run loop: the main queue when called on the main thread; other
/// threads have no run loop here, so their work comes back on the global queue.
ZN_EXPORT void performAfterDelay(double seconds, Task task);
/// Whether the caller runs on the device's main thread.
ZN_EXPORT bool isMainThread();

/// The device's clock.
ZN_EXPORT double secondsSince1970();

}  // namespace zn
