#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "Tests/Support/TestDevice.h"
#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
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

class TriggerChain : public testing::Test {
 protected:
  /// The campaigns that are shown when a host tracks that event, without a server, while these wait.
  std::vector<std::string> shownFor(const char* event, std::vector<Value> campaigns) {
    ZNConfigDataManager::sharedInstance()->apply(Value::dictionary({{"realTimeTriggersEnabled", true}}));
    ZNAnalytics::sharedInstance()->setMessagingTriggerDelegate(ZNMessaging::sharedInstance());
    const auto& store = ZNDeviceTriggersDataManager::sharedInstance();
    store->saveDeviceTriggerCampaigns(Value::array(std::move(campaigns)), false);
    store->activeDeviceTriggers()->update([](ZNDeviceTriggers::Fields& fields) { fields.globalDelay = 0; });
    ZNAnalytics::sharedInstance()->trackEvent(event, nullptr);
    device_.device().waitUntilIdle();
    std::vector<std::string> shown;
    for (const auto& request : static_cast<zn::NotificationRecorder&>(*device_.device().notifications).requests()) {
      shown.emplace_back(request.content.userInfo.validObjectForKeyPath("zintar.cid").string());
    }
    return shown;
  }
  std::ptrdiff_t linesAboutEnds() const {
    const auto log = device_.log();
    return std::ranges::count_if(log, [](const auto& line) { return line.find("set off one another") != line.npos; });
  }

  zn::test::TestDevice device_{zn::HeadlessDevice::MainQueue::pumped, std::make_unique<zn::NotificationRecorder>()};
};

// Showing a notification tracks events itself. Without an end, campaigns that wait for those would show one
// notification after another for as long as the process lives.

TEST_F(TriggerChain, NoCampaignSetsItselfOff) {
  EXPECT_EQ(shownFor(kEventNameDTScheduled, {waitingFor(kEventNameDTScheduled, "self")}),
            std::vector<std::string>{"self"});
  EXPECT_EQ(linesAboutEnds(), 0);
}

TEST_F(TriggerChain, EndsAfterThreeWithOneLine) {
  // Each showing tracks both events, so that it has more than one branch.
  const auto shown = shownFor("E", {waitingFor("E", "first"), waitingFor(kEventNameNotificationReceived, "a"),
                                    waitingFor(kEventNameNotificationReceived, "b"),
                                    waitingFor(kEventNameDTScheduled, "c"), waitingFor(kEventNameDTShownOffline, "d")});
  ASSERT_EQ(shown.size(), 3u);
  EXPECT_EQ(shown[0], "first");
  EXPECT_EQ(linesAboutEnds(), 1);
}

}  // namespace
