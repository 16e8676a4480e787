// What scenarios cannot show of the delegate proxy: its C++ calls, and host classes whose implementations take their
// own objects only.

#include <gtest/gtest.h>

#include <future>

#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/AppDelegateSwizzler/ZNAppDelegateMessagingProxy.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/Runtime/KeyValueObserving.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"

namespace {

using Center = std::shared_ptr<UNUserNotificationCenter>;
using Strings = std::vector<std::string>;

Strings called;

/// A delegate class of its own for each name.
template <char Name>
class Host : public zn::Object {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine = zn::ClassBuilder<Host>(std::string("Host") + Name)
                                             .conformsTo(kProtocolUserNotificationCenterDelegate)
                                             .implements(kSelectorDidReceiveNotificationResponse, &Host::didReceive)
                                             .build();
    return *mine;
  }
  void didReceive(const Center&, const UNNotificationResponse&, const std::function<void()>&) {
    called.push_back(isa().name());
  }
};

class DelegateProxy : public testing::Test {
 protected:
  DelegateProxy() {
    response_.notification.request.content.userInfo = zn::Value::dictionary({{"a", 1}});
    NSNotificationCenter::defaultCenter()->addObserver(owner_, Zintar_Notification_Received_Notification,
                                                       [](const NSNotification&) { called.push_back("module"); });
  }
  void tap() {
    center_->deliverResponse(response_, [] {});
  }
  static Strings take() { return std::exchange(called, {}); }

  zn::test::TestDevice device_;
  const std::shared_ptr<int> owner_ = std::make_shared<int>(0);
  ZNAppDelegateMessagingProxy& proxy_ = *ZNAppDelegateMessagingProxy::sharedProxy();
  UNNotificationResponse response_;
  const Center center_ = UNUserNotificationCenter::currentNotificationCenter();
};

TEST_F(DelegateProxy, AReceiverThatTheSavedImplementationDoesNotTakeHasItsOwn) {
  const auto a = std::make_shared<Host<'A'>>();
  const auto b = std::make_shared<Host<'B'>>();
  proxy_.swizzleUserNotificationCenterDelegate(a);
  proxy_.swizzleUserNotificationCenterDelegate(b);
  center_->setDelegate(a);
  tap();
  EXPECT_EQ(take(), (Strings{"module", "HostA"}));
  const zn::Selector selector(kSelectorDidReceiveNotificationResponse);
  zin_swizzle_didReceiveNotificationResponseWithHandler()->call<void>(*a, selector, center_, response_,
                                                                      std::function<void()>());
  EXPECT_EQ(take(), Strings{"HostA"}) << "without its completion it is none of the platform's";
  EXPECT_EQ(b->isa().instanceMethod(selector), a->isa().instanceMethod(selector)) << "one replacement for all classes";
}

/// Does something whenever it is told of the centre's delegate.
class Watcher : public Host<'W'> {
 public:
  explicit Watcher(std::function<void()> then) : then_(std::move(then)) {}
  void observeValueForKeyPath(const std::string&, const std::shared_ptr<zn::Object>&, const zn::KeyValueChange&,
                              const void*) override {
    then_();
  }

 private:
  const std::function<void()> then_;
};

TEST_F(DelegateProxy, WhoIsToldOfTheFacadesStartMayUseItAndOtherThreadsWait) {
  std::shared_ptr<ZNMessaging> seen;
  std::future<void> other;
  const auto watcher = std::make_shared<Watcher>([&] {
    seen = ZNMessaging::sharedInstance();
    other = std::async(std::launch::async, [] { ZNMessaging::sharedInstance(); });
    EXPECT_EQ(other.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
  });
  center_->addObserver(watcher, "delegate", NSKeyValueObservingOptionNew, nullptr);
  const auto facade = ZNMessaging::sharedInstance();
  EXPECT_EQ(center_->delegate(), facade);
  EXPECT_EQ(seen, facade);
  other.wait();
}

TEST_F(DelegateProxy, AResponseMeetsTheOldDelegateInterceptedUntilAllWereToldOfTheNewOne) {
  const auto a = std::make_shared<Host<'A'>>();
  const auto b = std::make_shared<Host<'B'>>();
  proxy_.swizzleMethodsIfPossible();
  center_->setDelegate(a);
  const auto watcher = std::make_shared<Watcher>([this] { tap(); });
  center_->addObserver(watcher, "delegate", NSKeyValueObservingOptionNew, nullptr);
  center_->setDelegate(b);
  EXPECT_EQ(take(), (Strings{"module", "HostA"}));
  tap();
  EXPECT_EQ(take(), (Strings{"module", "HostB"}));
}

TEST_F(DelegateProxy, AProxyThatEndsLeavesNothingBehind) {
  const auto a = std::make_shared<Host<'A'>>();
  const zn::Selector selector(kSelectorDidReceiveNotificationResponse);
  const auto original = a->isa().instanceMethod(selector);
  center_->setDelegate(a);
  auto mine = std::make_shared<ZNAppDelegateMessagingProxy>();
  mine->swizzleMethodsIfPossible();
  UIApplication::sharedApplication()->deliverRemoteNotification(zn::Value::dictionary());
  EXPECT_EQ(take(), Strings{"module"});
  mine = nullptr;
  EXPECT_EQ(a->isa().instanceMethod(selector), original);
  UIApplication::sharedApplication()->deliverRemoteNotification(zn::Value::dictionary());
  center_->setDelegate(nullptr);
  EXPECT_EQ(take(), Strings{});
  EXPECT_TRUE(device_.failures().empty());
}

}  // namespace
