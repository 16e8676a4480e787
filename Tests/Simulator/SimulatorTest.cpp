// The simulated device as a host team uses it: what a scenario shows of it is tested by scenarios.

#include "ZNDevices/Simulator/Simulator.h"

#include <gtest/gtest.h>

#include <thread>

#include "Tests/Devices/DeviceContract.h"
#include "Tests/Support/TestHome.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/UIKit/UIAlertController.h"
#include "ZNPlatform/UserNotifications/NotificationList.h"

namespace {

using zn::Queue;
using zn::Simulator;
using zn::Value;
using Strings = std::vector<std::string>;

class SimulatedSubject : public zn::test::ContractDevice {
 public:
  std::shared_ptr<zn::Device> device() override { return simulator_; }
  void runUntil(const std::function<bool()>& done, double seconds) override {
    const double end = simulator_->now() + seconds;
    simulator_->runUntilIdle();
    while (!done() && simulator_->now() < end) simulator_->advance(0.01);
  }
  void settle() override { simulator_->runUntilIdle(); }

 private:
  const std::shared_ptr<Simulator> simulator_ = std::make_shared<Simulator>(Simulator::Options{});
};

INSTANTIATE_TEST_SUITE_P(Simulated, DeviceContract,
                         testing::Values(zn::test::DeviceKind{"simulator",
                                                              [] { return std::make_unique<SimulatedSubject>(); }}),
                         zn::test::nameOfKind);

class SimulatorTest : public testing::Test {
 protected:
  SimulatorTest() { simulator(); }  // before anything else needs a device
  ~SimulatorTest() override { simulator().setEffectObserver(nullptr); }
  static Simulator& simulator() {
    static const std::shared_ptr<Simulator> installed = Simulator::install();
    return *installed;
  }
};

}  // namespace

// An extension that was stopped while it writes keeps the store for as long as it likes.
TEST_F(SimulatorTest, ATappedCardIsFoundWithoutWaitingForWhoKeepsTheStore) {
  const auto group = NSUserDefaults::initWithSuiteName("group.zintar");
  constexpr const char* kKey = "zin_push_template_click_info";
  group->setObject(Value::dictionary({{"campaign_id", "c1"}, {"card_id", "2"}}), kKey);
  const Value push =
      *zn::parseJson(R"({"zintar": {"cid": "c1"}, "zinFeatures": {"richPush": {"displayName": "carousel"}}})");
  ZNMessaging::sharedInstance();
  Strings clicks;
  simulator().setEffectObserver([&](const zn::Effect& effect) {
    if (effect.kind == "event") clicks.push_back(std::string(effect.fields["attributes"]["card_id"].string()));
  });
  auto kept = zn::FileLock::wait(simulator().directories->preferences() + "/.group.zintar.lock");
  ASSERT_TRUE(kept);
  simulator().tap(push);
  simulator().advance(5);
  EXPECT_EQ(clicks, Strings{"2"});
  EXPECT_TRUE(group->objectForKey(kKey)) << "whoever keeps the store is the only one who writes";
  kept.reset();
  simulator().advance(5);
  EXPECT_FALSE(group->objectForKey(kKey));
  simulator().tap(push);
  EXPECT_EQ(clicks, (Strings{"2", ""})) << "used once";
}

TEST_F(SimulatorTest, TheLineRefusesToBeRunByATask) {
  zn::dispatchAsync(Queue::main, [&] { EXPECT_THROW(simulator().advance(1), zn::Exception); });
  EXPECT_EQ(simulator().runUntilIdle(), 1u);
  EXPECT_THROW(simulator().advance(-1), zn::Exception);
  EXPECT_THROW(simulator().runInBackground([] { throw 1; }), int);
  EXPECT_TRUE(zn::isMainThread());
}

TEST_F(SimulatorTest, OtherThreadsMayQueueAndAreNotTheMainThread) {
  const auto queueMany = [] {
    for (int i = 0; i < 100; ++i) zn::dispatchAsync(Queue::main, [] {});
  };
  std::thread other([&] {
    EXPECT_FALSE(zn::isMainThread());
    queueMany();
  });
  queueMany();
  other.join();
  zn::dispatchAsync(Queue::global, [] { EXPECT_FALSE(zn::isMainThread()); });
  EXPECT_EQ(simulator().runUntilIdle(), 201u);
  EXPECT_TRUE(zn::isMainThread());
}

TEST(NotificationList, WhatWaitsForItsDelayCanBeTakenBackUnseen) {
  zn::NotificationList list;
  const auto add = [&](const char* identifier, double delay) {
    UNNotificationRequest request;
    request.identifier = identifier;
    if (delay > 0) request.trigger = UNTimeIntervalNotificationTrigger{delay};
    list.add(request, {0});
  };
  const auto look = [&](double now) {
    std::string seen;
    for (const auto& each : list.pending({now})) seen += "pending " + each.identifier + ' ';
    for (const auto& each : list.delivered({now})) seen += "delivered " + each.request.identifier + ' ';
    return seen;
  };
  add("n1", 0);
  add("n2", 2.5);
  EXPECT_EQ(list.removePending(Strings{"n1", "none"}, {0}), Strings{});
  EXPECT_EQ(list.removeDelivered(Strings{"n2"}, {0}), Strings{});
  EXPECT_EQ(look(0), "pending n2 delivered n1 ");
  EXPECT_EQ(look(2.5), "delivered n1 delivered n2 ");
  EXPECT_EQ(list.removePending(std::nullopt, {0}), Strings{"n2"});
  EXPECT_EQ(list.removeDelivered(std::nullopt, {0}), Strings{"n1"});
  EXPECT_EQ(look(0), "");
}

// A click that starts the application may be handled before its window is there.
TEST_F(SimulatorTest, ACouponWaitsForAScreenAsLongAsItsUserStays) {
  struct LateScreen : zn::DeviceScreen {
    bool showsAlerts() const override { return true; }
    std::shared_ptr<UIViewController> topMostViewController() const override { return window; }
    void present(const std::shared_ptr<UIViewController>& controller, bool) override {
      shown.push_back(std::dynamic_pointer_cast<UIAlertController>(controller));
    }
    void openLink(zn::LinkKind, const std::string& url) override { opened.push_back(url); }
    std::shared_ptr<UIViewController> window;
    std::vector<std::shared_ptr<UIAlertController>> shown;
    Strings opened;
  };
  auto late = std::make_unique<LateScreen>();
  LateScreen& screen = *late;
  auto before = std::exchange(simulator().screen, std::move(late));
  const auto messaging = ZNMessaging::sharedInstance();
  simulator().tap(*zn::parseJson(
      R"({"zintar": {"cid": "c", "couponCode": "10OFF"}, "app_extra": {"zin_deeplink": "shop://sale"}})"));
  simulator().advance(10);
  EXPECT_TRUE(screen.shown.empty());
  screen.window = std::make_shared<UIViewController>();
  simulator().advance(10);
  ASSERT_EQ(screen.shown.size(), 1u);
  screen.shown[0]->actions()[0]->perform();
  EXPECT_EQ(screen.opened, Strings{"shop://sale"});

  screen.window.reset();
  simulator().tap(*zn::parseJson(R"({"zintar": {"cid": "d", "couponCode": "20OFF"}})"));
  simulator().advance(1);
  messaging->clearUserInfo();
  screen.window = std::make_shared<UIViewController>();
  simulator().advance(10);
  EXPECT_EQ(screen.shown.size(), 1u);
  simulator().screen = std::move(before);
}

TEST_F(SimulatorTest, HostClassesInheritFromHostClassesOnly) {
  // An object of the module's class would not be one: its implementations must never see a host object.
  EXPECT_EQ(ZNMessaging::sharedInstance()->isa().name(), "ZNMessaging");
  EXPECT_THROW(simulator().hostObject({.name = "Fourth", .inherits = "ZNMessaging"}), zn::Exception);
  EXPECT_THROW(simulator().hostObject({.name = "ZNMessaging"}), zn::Exception);
}

TEST_F(SimulatorTest, TheZoneIsTheDaysRule) {
  simulator().setTimeZone("EST5EDT,M3.2.0,M11.1.0");
  EXPECT_EQ(simulator().clock->secondsFromGMT({1705276800}), -18000) << "in January";
  EXPECT_EQ(simulator().clock->secondsFromGMT({1721001600}), -14400) << "in July";
  for (const char* zone : {"", "Nowhere/Land", "/etc/hostname", "../zoneinfo/UTC", "5"}) {
    EXPECT_THROW(simulator().setTimeZone(zone), zn::Exception) << zone;
  }
}
