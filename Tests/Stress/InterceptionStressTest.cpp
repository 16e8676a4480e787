#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <latch>
#include <thread>

#include "Tests/Support/StressScale.h"
#include "Tests/Support/TestDevice.h"
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

void called(const zn::Object& receiver, const char* implementation) {
  ++handledByHost;
  if (receiver.isa().name() != implementation) metTheWrongOne = true;
}

/// Three classes: one, one that has nothing to do with it, and a child of the first with an implementation of its own.
class First : public zn::Object {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine = zn::ClassBuilder<First>("First")
                                             .conformsTo(kProtocolUserNotificationCenterDelegate)
                                             .implements(kSelectorDidReceiveNotificationResponse, &First::didReceive)
                                             .build();
    return *mine;
  }
  void didReceive(const Center&, const UNNotificationResponse&, const std::function<void()>&) {
    called(*this, "First");
  }
};

class Second : public zn::Object {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine = zn::ClassBuilder<Second>("Second")
                                             .conformsTo(kProtocolUserNotificationCenterDelegate)
                                             .implements(kSelectorDidReceiveNotificationResponse, &Second::didReceive)
                                             .build();
    return *mine;
  }
  void didReceive(const Center&, const UNNotificationResponse&, const std::function<void()>&) {
    called(*this, "Second");
  }
};

class Child : public First {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine =
        zn::ClassBuilder<Child>("Child", &First().isa())
            .implements(kSelectorDidReceiveNotificationResponse, &Child::childDidReceive)
            .build();
    return *mine;
  }
  void childDidReceive(const Center&, const UNNotificationResponse&, const std::function<void()>&) {
    called(*this, "Child");
  }
};

/// Clears the delegate, from within the notification, whenever it becomes a `Child`.
class Clearing : public zn::Object {
 public:
  const zn::Class& isa() const override {
    static const zn::Class& mine = *zn::Class::define("Clearing");
    return mine;
  }
  void observeValueForKeyPath(const std::string&, const std::shared_ptr<zn::Object>& object,
                              const zn::KeyValueChange& change, const void*) override {
    const auto& next = *change.newValue;
    if (next && next->isa().name() == "Child" && ++count % 4 == 0) {
      std::static_pointer_cast<UNUserNotificationCenter>(object)->setDelegate(nullptr);
    }
  }
  int count = 0;  // assignments take turns, so it needs no lock
};

std::shared_ptr<zn::Object> freshDelegate(int number) {
  switch (number % 4) {
    case 0:
      return std::make_shared<First>();
    case 1:
      return std::make_shared<Second>();
    case 2:
      return std::make_shared<Child>();
    default:
      return nullptr;
  }
}

TEST(Stress, EveryResponseMeetsOneDelegateInterceptedOnceWhileDelegatesChange) {
  zn::test::TestDevice device(zn::HeadlessDevice::MainQueue::ownThread);
  const int rounds = zn::test::scaled(10000, 50);
  const auto center = UNUserNotificationCenter::currentNotificationCenter();
  NSNotificationCenter::defaultCenter()->addObserver(center, Zintar_Notification_Received_Notification,
                                                     [](const NSNotification&) { ++handledByModule; });
  const auto clearing = std::make_shared<Clearing>();
  center->addObserver(clearing, "delegate", NSKeyValueObservingOptionNew, nullptr);
  ZNAppDelegateMessagingProxy::sharedProxy()->swizzleMethodsIfPossible();

  UNNotificationResponse response;
  response.notification.request.content.userInfo = zn::Value::dictionary({{"foreign", 1}});
  std::atomic<int> faults{0};
  std::atomic<int> assigning{3};
  std::latch start(5);
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      // The host lets go of each at once: what is still in use must live on by itself.
      for (int n = 0; n < rounds; ++n) center->setDelegate(freshDelegate(n * (i + 1) + i));
      --assigning;
    });
  }
  for (int i = 0; i < 2; ++i) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      while (assigning > 0) {
        handledByModule = handledByHost = 0;
        metTheWrongOne = false;
        const bool reached = center->deliverResponse(response, [] {}) != zn::Delivery::nobody;
        const int expected = reached ? 1 : 0;
        if (handledByModule != expected || handledByHost != expected || metTheWrongOne) ++faults;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(faults, 0);

  // When all is quiet nothing stays intercepted.
  center->setDelegate(nullptr);
  for (const char* name : {"First", "Second", "Child"}) {
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
