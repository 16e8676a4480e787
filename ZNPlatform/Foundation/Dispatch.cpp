#include "ZNPlatform/Foundation/Dispatch.h"

#include <utility>

#include "ZNPlatform/Device.h"

namespace zn {

namespace {

/// The guard goes with the task, whatever queue the device has.
Task guardedTask(Task task) {
  return [task = std::move(task)] { runTask(task, *Device::current().systemLog); };
}

}  // namespace

void dispatchAsync(Queue queue, Task task) {
  if (task) Device::current().queues->async(queue, guardedTask(std::move(task)));
}

void dispatchAfter(Queue queue, double seconds, Task task) {
  if (task) Device::current().queues->after(queue, seconds, guardedTask(std::move(task)));
}

void performAfterDelay(double seconds, Task task) {
  dispatchAfter(isMainThread() ? Queue::main : Queue::global, seconds, std::move(task));
}

bool isMainThread() { return Device::current().queues->isMainThread(); }

double secondsSince1970() { return Device::current().clock->now().secondsSince1970; }

}  // namespace zn
