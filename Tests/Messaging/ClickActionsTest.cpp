#include <gtest/gtest.h>

#include <atomic>

#include "Tests/Support/AnyTypeAnywhere.h"
#include "Tests/Support/Threads.h"
#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNPlatform/Foundation/Format.h"

namespace {

using zn::Value;
using zn::test::TestDevice;

struct Counts : zn::AnalyticsObserver {
  void eventTracked(const std::string& name, const Value&, bool) override {
    if (name == kEventNamePushPreferenceChanged) ++preferences;
  }
  void userAttributeSet(const std::string&, const Value&) override { ++attributes; }
  std::atomic<int> preferences{0}, attributes{0};
};

TEST(ClickActions, AnInboxThatIsSwitchedOffTakesNoClickAndIsNotSynchronised) {
  TestDevice device;
  const auto facade = ZNMessaging::sharedInstance();
  const auto click = [] {
    ZNNotificationHandler::sharedInstance()->handlePushNotificationInApplication(UIApplication::sharedApplication(),
                                                                                 zn::test::realisticPayload("c1"));
    return ZNInboxHandler::sharedInstance()->getAllNotificationCount();
  };
  facade->setDisableInbox(true);
  EXPECT_EQ(click(), 0u);
  facade->updateModules();
  EXPECT_EQ(device.log().back(), "Inbox is disabled in the SDK");
  facade->setDisableInbox(false);
  EXPECT_EQ(click(), 1u);
}

TEST(ClickActions, AnyTypeAnywhereInARichTemplateCountsAsNotThere) {
  TestDevice device;
  const auto handler = ZNNotificationHandler::sharedInstance();
  const Value features = zn::test::json(R"({"richPush": {"expandedMode": {"cards": [{"cardID": 1, "actions": [
      {"actionName": 0, "actionType": 0, "value": "S", "kvPairs": {}}, {"actionName": 0, "actionType": 1, "value": "S"},
      {"actionName": 0, "actionType": 2, "value": "S", "kvPairs": {}}]}]}}})");
  zn::test::forAnyTypeAnywhere(features, [&](const Value& odd) {
    handler->handleCardActionsWithCardID("1",
                                         ZNPushPayload::initWithPushPayload(Value::dictionary({{"zinFeatures", odd}})));
    EXPECT_TRUE(device.failures().empty()) << zn::description(odd);
  });
}

// Settings arrive on a queue of the device's choosing, so two checks may see their answers at the same time.
TEST(PushPreference, OfManyChecksAtOnceOneTracksTheChange) {
  TestDevice device;
  const auto counts = std::make_shared<Counts>();
  ZNAnalytics::sharedInstance()->setObserver(counts);
  constexpr int kThreads = 4, kChecks = 5;
  const auto checkFromManyThreads = [&](void (ZNNotificationHandler::*check)()) {
    zn::test::onThreads(kThreads, [check](int) {
      for (int i = 0; i < kChecks; ++i) (*ZNNotificationHandler::sharedInstance().*check)();
    });
  };
  checkFromManyThreads(&ZNNotificationHandler::pushEnabled);
  EXPECT_EQ(counts->preferences, 1);
  checkFromManyThreads(&ZNNotificationHandler::pushDisabled);
  EXPECT_EQ(counts->preferences, 2);
  EXPECT_EQ(counts->attributes, 2 * kThreads * kChecks);
  EXPECT_EQ(ZNAnalytics::sharedInstance()->userAttributeForKey(kUserAttributeNamePushPreference), Value(false));
}

}  // namespace
