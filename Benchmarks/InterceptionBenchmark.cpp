// What it costs that the module stands in front of a host's delegate: the same call with and without the proxy. For
// responses that is with the module's own work left out, as for an inactive account.

#include <benchmark/benchmark.h>

#include "Benchmarks/BenchmarkDevice.h"
#include "ZNMessaging/AppDelegateSwizzler/ZNAppDelegateMessagingProxy.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"

namespace {

using Center = std::shared_ptr<UNUserNotificationCenter>;

class Host : public zn::Object {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine = zn::ClassBuilder<Host>("BenchmarkHost")
                                             .conformsTo(kProtocolUserNotificationCenterDelegate)
                                             .implements(kSelectorDidReceiveNotificationResponse, &Host::didReceive)
                                             .implements(kSelectorWillPresentNotification, &Host::willPresent)
                                             .build();
    return *mine;
  }
  void didReceive(const Center&, const UNNotificationResponse&, const std::function<void()>&) { ++calls; }
  void willPresent(const Center&, const UNNotification&, const std::function<void(unsigned)>&) { ++calls; }
  long calls = 0;
};

/// Argument 0: a direct call; 1: an intercepted one.
std::shared_ptr<Host> install(bool intercepted) {
  zn::test::benchmarkDevice();
  const auto host = std::make_shared<Host>();
  UNUserNotificationCenter::currentNotificationCenter()->setDelegate(host);
  if (intercepted) ZNAppDelegateMessagingProxy::sharedProxy()->swizzleUserNotificationCenterDelegate(host);
  return host;
}

void finish(benchmark::State& state, const std::shared_ptr<Host>& host) {
  ZNAppDelegateMessagingProxy::sharedProxy()->unswizzleUserNotificationCenterDelegate(host);
  if (host->calls < static_cast<long>(state.iterations())) state.SkipWithError("the host was not called");
}

void WillPresent(benchmark::State& state) {
  const auto host = install(state.range(0) == 1);
  const auto center = UNUserNotificationCenter::currentNotificationCenter();
  const UNNotification notification;
  const std::function<void(unsigned)> completion = [](unsigned) {};
  for (auto _ : state) center->deliverWillPresent(notification, completion);
  finish(state, host);
}

void DidReceiveResponse(benchmark::State& state) {
  const auto host = install(state.range(0) == 1);
  ZNConfigDataManager::sharedInstance()->applySilently(zn::Value::dictionary({{"accountActive", false}}));
  const auto center = UNUserNotificationCenter::currentNotificationCenter();
  const UNNotificationResponse response;
  const std::function<void()> completion = [] {};
  for (auto _ : state) center->deliverResponse(response, completion);
  ZNConfigDataManager::sharedInstance()->applySilently(zn::Value::dictionary({{"accountActive", true}}));
  finish(state, host);
}

/// Moving the interception from one class to another and back.
void AssignDelegate(benchmark::State& state) {
  const auto host = install(false);
  const auto center = UNUserNotificationCenter::currentNotificationCenter();
  const auto proxy = ZNAppDelegateMessagingProxy::sharedProxy();
  if (state.range(0) == 1) proxy->listenForDelegateChangesInUserNotificationCenter(center);
  for (auto _ : state) {
    center->setDelegate(nullptr);
    center->setDelegate(host);
  }
  proxy->removeUserNotificationCenterDelegateObserver();
  proxy->unswizzleUserNotificationCenterDelegate(host);
}

BENCHMARK(WillPresent)->Arg(0)->Arg(1);
BENCHMARK(DidReceiveResponse)->Arg(0)->Arg(1);
BENCHMARK(AssignDelegate)->Arg(0)->Arg(1);

}  // namespace
