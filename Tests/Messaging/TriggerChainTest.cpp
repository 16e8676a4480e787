#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Tests/Support/TestDevice.h"
#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/NotificationRecorder.h"

namespace {

using zn::Value;

Value waitingFor(const char* event, const char* id) {
  Value campaign = zn::test::json(R"({"status": "active", "expiry": 4070908800000, "max_times": -9090909,
                                      "should_support_offline": true})");
  campaign.setObjectNilHandled(id, "campaign_id");
  campaign.setObjectNilHandled(event, "trigger_event_name");
  campaign.setObjectNilHandled(zn::test::realisticPayload(id), "payload");
  return campaign;
}

/// What is shown when a host tracks that event, without a server, while these campaigns wait.
struct Shown {
  std::vector<std::string> campaigns;
  std::vector<std::string> ends;  ///< log lines about the end of a chain
};

Shown shownFor(const char* event, std::vector<Value> campaigns) {
  zn::test::TestDevice device(zn::HeadlessDevice::MainQueue::pumped,
                              std::make_unique<zn::NotificationRecorder>(nullptr, nullptr));
  const auto& recorder = static_cast<zn::NotificationRecorder&>(*device.device().notifications);
  ZNConfigDataManager::sharedInstance()->apply(Value::dictionary({{"realTimeTriggersEnabled", true}}));
  ZNAnalytics::sharedInstance()->setMessagingTriggerDelegate(ZNMessaging::sharedInstance());
  ZNDeviceTriggersDataManager::sharedInstance()->saveDeviceTriggerCampaigns(Value::array(std::move(campaigns)), false);
  ZNDeviceTriggersDataManager::sharedInstance()->activeDeviceTriggers()->update(
      [](ZNDeviceTriggers::Fields& fields) { fields.globalDelay = 0; });
  ZNAnalytics::sharedInstance()->trackEvent(event, nullptr);
  device.device().waitUntilIdle();
  Shown shown;
  for (const auto& request : recorder.requests()) {
    shown.campaigns.emplace_back(request.content.userInfo.validObjectForKeyPath("zintar.cid").string());
  }
  const auto log = device.log();
  std::ranges::copy_if(log, std::back_inserter(shown.ends),
                       [](const std::string& line) { return line.find("set off one another") != std::string::npos; });
  return shown;
}

// Showing a notification tracks events itself. Without an end, campaigns that wait for those would show one
// notification after another for as long as the process lives.

TEST(TriggerChain, NoCampaignSetsItselfOff) {
  const Shown shown = shownFor(kEventNameDTScheduled, {waitingFor(kEventNameDTScheduled, "self")});
  EXPECT_EQ(shown.campaigns, std::vector<std::string>{"self"});
  EXPECT_TRUE(shown.ends.empty());
}

TEST(TriggerChain, EndsAfterThreeWithOneLine) {
  // Each showing tracks both events, so that it has more than one branch.
  const Shown shown =
      shownFor("E", {waitingFor("E", "first"), waitingFor(kEventNameNotificationReceived, "a"),
                     waitingFor(kEventNameNotificationReceived, "b"), waitingFor(kEventNameDTScheduled, "c"),
                     waitingFor(kEventNameDTShownOffline, "d")});
  ASSERT_EQ(shown.campaigns.size(), 3u);
  EXPECT_EQ(shown.campaigns[0], "first");
  EXPECT_EQ(shown.ends.size(), 1u);
}

}  // namespace
