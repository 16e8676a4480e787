#pragma once

#include <chrono>
#include <future>
#include <memory>

#include "Tests/Devices/DeviceContract.h"
#include "Tests/Support/TestHome.h"
#include "ZNPlatform/HeadlessDevice.h"

namespace zn::test {

/// A headless device, or one that derives from it, on a home of its own.
template <class Made>
class PooledContract final : public ContractDevice {
 public:
  explicit PooledContract(HeadlessDevice::MainQueue mainQueue) : mainQueue_(mainQueue) {
    typename Made::Options options;
    options.home = folder_ / "home";
    options.mainQueue = mainQueue;
    if constexpr (requires { options.busAddress; }) options.busAddress = "unix:path=" + (folder_ / "no-bus");
    device_ = std::make_shared<Made>(options);
  }
  ~PooledContract() override { device_->shutDown(); }
  std::shared_ptr<Device> device() override { return device_; }
  void start() override {
    if constexpr (requires { device_->start(); }) device_->start();
  }
  void runUntil(const std::function<bool()>& done, double seconds) override {
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (!done() && std::chrono::steady_clock::now() < end) letWork();
  }
  void settle() override { device_->waitUntilIdle(); }

 private:
  void letWork() {
    if (mainQueue_ == HeadlessDevice::MainQueue::pumped) {
      device_->runFor(0.002);
      return;
    }
    std::promise<void> tick;
    device_->queues->after(Queue::main, 0.002, [&] { tick.set_value(); });
    tick.get_future().wait();
  }
  const HeadlessDevice::MainQueue mainQueue_;
  TemporaryFolder folder_;
  std::shared_ptr<Made> device_;
};

/// A kind for each way in which the main queue may run.
template <class Made>
auto pooledKinds() {
  using MainQueue = HeadlessDevice::MainQueue;
  return testing::Values(
      DeviceKind{"ownThread", [] { return std::make_unique<PooledContract<Made>>(MainQueue::ownThread); }},
      DeviceKind{"pumped", [] { return std::make_unique<PooledContract<Made>>(MainQueue::pumped); }});
}

}  // namespace zn::test
