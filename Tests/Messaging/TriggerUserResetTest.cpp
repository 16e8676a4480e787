#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "Tests/Support/InTheWay.h"
#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/UserReset_p.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/NotificationRecorder.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZNRichNotification/ZNRichNotification.h"
#include "ZintarCore/UserSession.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {

using zn::Value;
using zn::test::TestDevice;

/// Keeps what was asked about segments; the answer is the test's. Everything else fails at once.
class HeldServer : public ZNNetworkTransport {
 public:
  void execute(const ZNNetworkRequest& request, std::function<void(Value)> completion) override {
    if (request.service() != ZNService::userInSegment && !holdsAll) return completion(zn::nil);
    held.push_back(std::move(completion));
  }
  bool holdsAll = false;
  std::vector<std::function<void(Value)>> held;
};

/// Something happens before the next request is there.
class SlowRecorder : public zn::NotificationRecorder {
 public:
  using NotificationRecorder::NotificationRecorder;
  void add(const UNNotificationRequest& request,
           std::function<void(const std::optional<std::string>& error)> completion) override {
    std::exchange(beforeAdding, [] {})();
    NotificationRecorder::add(request, std::move(completion));
  }
  std::function<void()> beforeAdding = [] {};
};

/// The next user comes, and the server has the same campaign for this one. Every answer may go the offline way.
void changeUser() {
  ZNMessaging::sharedInstance()->clearUserInfo();
  ZNDeviceTriggersDataManager::sharedInstance()->saveDeviceTriggerCampaigns(
      zn::test::json(R"([{"campaign_id": "c", "trigger_event_name": "E", "status": "active", "expiry": 4070908800000,
          "max_times": -9090909, "should_support_offline": true, "show_delay": 60000,
          "payload": {"aps": {"alert": "Hi"}, "zintar": {"cid": "c"}}}])"),
      false);
}

// The evaluation of an event hops from queue to queue and waits for the server. Whenever the user changes meanwhile,
// the next one's server is not asked and the next one sees nothing, although the campaign is stored for both.
TEST(TriggerUserReset, AnEventOfTheLastUserShowsTheNextOneNothing) {
  zn::NotificationRecorder::Identifiers removed;
  TestDevice device(zn::HeadlessDevice::MainQueue::pumped,
                    std::make_unique<SlowRecorder>(nullptr, [&](const auto& each) { removed = each; }));
  auto& recorder = static_cast<SlowRecorder&>(*device.device().notifications);
  auto& clock = device.watchClock();
  const auto server = std::make_shared<HeldServer>();
  ZNNetworkRequest::setTransport(server);
  const auto& engine = ZNDeviceTriggersHandler::sharedInstance();
  const auto refusals = [&] {
    const auto lines = device.log();
    return std::count(lines.begin(), lines.end(),
                      "Device Triggers -- Device Trigger not posted because the user was reset or opted out 🛑");
  };
  engine->stop();  // as an opt-out of push does, which makes no other user
  changeUser();

  engine->checkDeviceTriggerForEvent("E", Value::dictionary());
  changeUser();  // before the main queue, which this thread runs, took the event on
  device.device().waitUntilIdle();
  EXPECT_EQ(server->held.size(), 0u);
  EXPECT_EQ(refusals(), 1);

  clock.action = changeUser;
  clock.isTheMoment = [&] {  // the campaign is picked, and its rules are looked at
    return device.log().back() == "Device Triggers -- Checking Rules for Device Trigger : c ✅";
  };
  engine->checkPreconditionsForDeviceTriggerWithEvent("E", Value::dictionary());
  EXPECT_FALSE(clock.isTheMoment) << "the moment never came";
  EXPECT_EQ(server->held.size(), 0u);
  EXPECT_EQ(refusals(), 2);

  engine->checkDeviceTriggerForEvent("E", Value::dictionary());
  device.device().waitUntilIdle();
  ASSERT_EQ(server->held.size(), 1u);
  changeUser();
  server->held[0](zn::nil);
  device.device().waitUntilIdle();
  EXPECT_EQ(refusals(), 3);
  EXPECT_TRUE(recorder.requests().empty());

  const auto answerYes = [&] {
    server->held.back()(zn::test::json(R"({"user_in_segment": true, "show_notification": true,
                                           "payload": {"aps": {"alert": "Hi"}, "zintar": {"cid": "c"}}})"));
    device.device().waitUntilIdle();
  };
  ZNRichNotification::setPreparer([](const auto& request, const auto& completion) {
    changeUser();  // while the contents are prepared
    completion(request.content);
  });
  engine->checkPreconditionsForDeviceTriggerWithEvent("E", Value::dictionary());
  answerYes();
  ZNRichNotification::setPreparer(nullptr);
  EXPECT_EQ(refusals(), 4);

  recorder.beforeAdding = changeUser;  // it is taken back after all others were, and nobody's count grows
  engine->checkPreconditionsForDeviceTriggerWithEvent("E", Value::dictionary());
  answerYes();
  EXPECT_TRUE(recorder.requests().empty());
  const auto statuses = [] {
    return ZNDeviceTriggersDataManager::sharedInstance()->activeDeviceTriggers()->fields().statuses().size();
  };
  EXPECT_EQ(statuses(), 0u);
  server->held.resize(1);

  // The next user's own events are not affected.
  engine->checkPreconditionsForDeviceTriggerWithEvent("E", Value::dictionary());
  ASSERT_EQ(server->held.size(), 2u);
  server->held[1](zn::nil);
  device.device().waitUntilIdle();
  EXPECT_EQ(statuses(), 1u);
  EXPECT_EQ(refusals(), 4);

  // It waits for its delay, and is gone when they leave. The host's own stays.
  UNNotificationRequest hosts;
  hosts.identifier = "the host's";
  hosts.trigger = UNTimeIntervalNotificationTrigger{60};
  UNUserNotificationCenter::currentNotificationCenter()->addNotificationRequest(hosts, nullptr);
  changeUser();
  device.device().waitUntilIdle();
  ASSERT_EQ(recorder.requests().size(), 1u);
  EXPECT_EQ(recorder.requests()[0].identifier, "the host's");
  ASSERT_EQ(removed.size(), 1u);
  EXPECT_TRUE(removed[0].starts_with("c_"));
}

TEST(TriggerUserReset, AnAnswerThatTheResetOvertookDelaysNoSynchronisation) {
  TestDevice device;
  auto& clock = device.watchClock();
  const auto server = std::make_shared<HeldServer>();
  server->holdsAll = true;
  ZNNetworkRequest::setTransport(server);
  ZNConfigDataManager::sharedInstance()->apply(
      zn::test::json(R"({"realTimeTriggerSyncInterval": 3600, "queryParams": {}})"));
  const auto& engine = ZNDeviceTriggersHandler::sharedInstance();
  engine->setLastUpdatedTime(Value(zn::secondsSince1970()).longLongValue());
  EXPECT_FALSE(engine->shouldFetch());
  engine->stop();
  EXPECT_TRUE(engine->shouldFetch());
  engine->syncDeviceTriggersWithCompletionBlock(nullptr);
  ASSERT_EQ(server->held.size(), 1u);
  clock.action = [&] { engine->stop(); };
  clock.isTheMoment = [] { return true; };  // when the answer's time is taken
  server->held[0](Value::dictionary());
  EXPECT_FALSE(clock.isTheMoment) << "the moment never came";
  EXPECT_TRUE(engine->shouldFetch());
}

TEST(UserReset, IsDoneOnceTheFilesHoldNothingOfThatUser) {
  TestDevice device;
  ZNNetworkRequest::setTransport(std::make_shared<HeldServer>());
  zn::UserSession::logIn("anna");
  ZNMessaging::sharedInstance();
  ZNInboxHandler::sharedInstance()->updateClickedNotificationInStorageWithPayload(zn::test::realisticPayload("a"));
  auto inTheWay = std::make_unique<zn::test::InTheWay>(device.inboxFile());
  zn::UserSession::logIn("ben");
  EXPECT_EQ(ZNInboxHandler::sharedInstance()->getAllNotificationCount(), 0u);
  device.device().runPending();
  EXPECT_TRUE(zn::UserReset::isDue()) << "the next start has to do it again";

  inTheWay = nullptr;
  ZNInboxHandler::sharedInstance()->retryStorage();
  device.device().runPending();
  EXPECT_FALSE(zn::UserReset::isDue());
}

}  // namespace
