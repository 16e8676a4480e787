#pragma once

#include <cstddef>
#include <memory>

#include "ZNPlatform/Device.h"

namespace zn {

/// The queues of a device on threads: the main queue has one of its own or is pumped by the host, the global queue a
/// small pool. HeadlessDevice.h says what the operations do. Copies are the same queues. Thread: any.
class ZN_EXPORT PooledQueues : public DeviceQueues {
 public:
  enum class MainQueue {
    ownThread,  ///< a thread of the device's own runs the main queue
    pumped      ///< the host runs it with runPending(), always on the same thread (the one that made the device)
  };
  /// The device's log takes what leaves a task. Without background threads the main queue runs everything. Throws
  /// Exception, or what a thread that cannot be made throws.
  PooledQueues(Device& device, MainQueue mainQueue, unsigned backgroundThreads);

  void async(Queue queue, Task task) override;
  void after(Queue queue, double seconds, Task task) override;
  bool isMainThread() const override;

  std::size_t runPending();
  std::size_t runFor(double seconds);
  int wakeDescriptor() const;
  bool waitUntilIdle();
  void shutDown();
  /// Shuts down for good, without the device: the first thing in its destructor.
  void leaveDevice();

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace zn
