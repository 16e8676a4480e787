#include <gtest/gtest.h>

#include <atomic>
#include <latch>

#include "Tests/Support/StressScale.h"
#include "Tests/Support/TestDevice.h"
#include "Tests/Support/Threads.h"
#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/AppDelegateSwizzler/ZNAppDelegateMessagingProxy.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"

namespace {

using Center = std::shared_ptr<UNUserNotificationCenter>;

/// What became of the response that this thread delivers.
thread_local int handledByModule = 0;
thread_local int handledByHost = 0;
thread_local bool metTheWrongOne = false;

/// A delegate class for each name; with a parent, a child of that one with an implementation of its own.
template <char Name, class Parent = zn::Object>
class Delegate : public Parent {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine = [] {
      const zn::Class* parent = nullptr;
      if constexpr (!std::is_same_v<Parent, zn::Object>) parent = &Parent().isa();
      return zn::ClassBuilder<Delegate>(std::string(1, Name), parent)
          .conformsTo(kProtocolUserNotificationCenterDelegate)
          .implements(kSelectorDidReceiveNotificationResponse, &Delegate::didReceive)
          .build();
    }();
    return *mine;
  }
  void didReceive(const Center&, const UNNotificationResponse&, const std::function<void()>&) {
    ++handledByHost;
    if (this->isa().name() != std::string(1, Name)) metTheWrongOne = true;
  }
};
using First = Delegate<'1'>;
using Second = Delegate<'2'>;
using Child = Delegate<'c', First>;

std::shared_ptr<zn::Object> freshDelegate(int number) {
  const std::shared_ptr<zn::Object> fresh[] = {std::make_shared<First>(), std::make_shared<Second>(),
                                               std::make_shared<Child>(), nullptr};
  return fresh[number % 4];
}

TEST(Stress, EveryResponseMeetsOneDelegateInterceptedOnceWhileDelegatesChange) {
  zn::test::TestDevice device(zn::HeadlessDevice::MainQueue::ownThread);
  const int rounds = zn::test::scaled(10000, 50);
  const auto center = UNUserNotificationCenter::currentNotificationCenter();
  NSNotificationCenter::defaultCenter()->addObserver(center, Zintar_Notification_Received_Notification,
                                                     [](const NSNotification&) { ++handledByModule; });
  ZNAppDelegateMessagingProxy::sharedProxy()->swizzleMethodsIfPossible();

  UNNotificationResponse response;
  response.notification.request.content.userInfo = zn::Value::dictionary({{"foreign", 1}});
  std::atomic<int> faults{0};
  constexpr int kAssigning = 3;
  std::atomic<int> assigning{kAssigning};
  std::latch start(5);
  zn::test::onThreads(5, [&](int thread) {
    start.arrive_and_wait();
    if (thread < kAssigning) {
      // The host lets go of each at once: what is still in use must live on by itself.
      for (int n = 0; n < rounds; ++n) center->setDelegate(freshDelegate(n * (thread + 1) + thread));
      --assigning;
      return;
    }
    while (assigning > 0) {
      handledByModule = handledByHost = 0;
      metTheWrongOne = false;
      const bool reached = center->deliverResponse(response, [] {}) != zn::Delivery::nobody;
      const int expected = reached ? 1 : 0;
      if (handledByModule != expected || handledByHost != expected || metTheWrongOne) ++faults;
    }
  });
  EXPECT_EQ(faults, 0);

  // When all is quiet nothing stays intercepted.
  center->setDelegate(nullptr);
  for (const char* name : {"1", "2", "c"}) {
    EXPECT_NE(zn::Class::named(name)->instanceMethod(zn::Selector(kSelectorDidReceiveNotificationResponse)),
              zin_swizzle_didReceiveNotificationResponseWithHandler())
        << name;
  }
  const auto last = std::make_shared<Second>();
  center->setDelegate(last);
  handledByModule = handledByHost = 0;
  center->deliverResponse(response, [] {});
  EXPECT_TRUE(handledByModule == 1 && handledByHost == 1);
  center->setDelegate(nullptr);
  EXPECT_TRUE(device.failures().empty());
}

}  // namespace
