#include <gtest/gtest.h>

#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/TriggerRules.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggerUtils.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"

namespace {

using zn::Value;
using zn::test::json;
using zn::test::TestDevice;

constexpr std::int64_t kNow = 1700000000000;

std::shared_ptr<ZNDeviceTriggerCampaign> campaign(const char* changes = "{}") {
  Value dictionary = json(R"({"campaign_id": "c", "type": "general", "status": "active", "expiry": 1700000000100,
      "max_times": 3, "show_delay": 0, "max_sync_delay": 1000, "min_delay_between_notifications": 50})");
  const Value changed = json(changes);
  for (const auto& entry : changed.entries()) dictionary.setObjectNilHandled(entry.value, entry.name());
  return ZNDeviceTriggerCampaign::initWithDictionary(dictionary);
}

struct Case {
  const char* rule;
  const char* line;  ///< its beginning, after the usual one; a refusal's begins with "Not"
  const char* changes = "{}";
  Value lastSync = 0;
  Value shownAt = zn::nil;
  int times = 0;
  std::int64_t passesAt = 0;
};

TEST(TriggerRules, StandInTheirOrderPassAtTheirLimitAndSayWhy) {
  const Case cases[] = {
      {"type", "Campaign(c) Type : General ✅"},
      {"type", "Campaign(c)", R"({"type": "Test"})"},
      {"type", "Not Posting DT(c) as Type is Test, current type : 1 🛑", R"({"type": "test"})"},
      {"status", "Not Posting DT(c) as status is not active, current status : paused 🛑", R"({"status": "paused"})"},
      {"expiry", "Campaign(c) Expired : NO ✅ ", R"({"expiry": 1700000000000})"},
      {"expiry", "Not Posting DT(c) as it has expired 🛑", R"({"expiry": 1700000000000, "show_delay": 1})"},
      {"expiry", "Not", R"({"show_delay": 9223372036854775807})"},
      {"syncAge", "Campaign(c)"},
      {"syncAge", "Campaign(c)", "{}", kNow - 1000},
      {"syncAge",
       "Not Posting DT(c) as it was not synced before campaign Sync Delay Expiry : "
       "(1000 + 1699999998999 = 1699999999999) now : 1700000000000 🛑",
       "{}", kNow - 1001},
      {"campaignDelay", "Campaign(c) Last Shown Check Passed ✅ ", "{}", 0, 0},
      {"campaignDelay", "Campaign(c) Last Shown Check Passed ✅", "{}", 0, kNow - 50, 1},
      {"campaignDelay", "Campaign(c)", "{}", 0, zn::nil, 1},
      {"campaignDelay",
       "Not Posting DT(c) as it was posted before Campaign Level Delay : "
       "(50 + 1699999999951 = 1700000000001) now : 1700000000000 🛑",
       "{}", 0, kNow - 49, 1, kNow + 1},
      {"maxTimes", "Campaign(c) Max Times check Passed | Number of times shown : 2 ✅", "{}", 0, 1, 2},
      {"maxTimes", "Not Posting DT(c) as it has been posted max number of times : 3 🛑", "{}", 0, 1, 3},
      {"maxTimes", "Campaign(c) Max Times check Passed ✅", R"({"max_times": -9090909})", 0, 1, 3}};
  const Case* next = cases;
  for (const zn::Rule& rule : zn::postingRules()) {
    for (; next != std::end(cases) && std::string(next->rule) == rule.name; ++next) {
      const auto of = campaign(next->changes);
      ZNDeviceTriggerStatus status;
      status.setLastShownTime(next->shownAt);
      status.setNumberOfTimesShown(next->times);
      const zn::Verdict verdict = rule.decide({*of, &status, next->lastSync, kNow});
      EXPECT_TRUE(verdict.line.starts_with(std::string("Device Triggers -- ") + next->line)) << verdict.line;
      EXPECT_EQ(verdict.passes, !std::string(next->line).starts_with("Not")) << verdict.line;
      EXPECT_EQ(verdict.passesAt.value_or(0), next->passesAt) << verdict.line;
    }
  }
  EXPECT_EQ(next, std::end(cases)) << "the rules are others, or in another order";
}

TEST(TriggerRules, GlobalDelayPassesWhenItEnds) {
  TestDevice device;
  EXPECT_TRUE(zn::globalDelayRule(1000000, 10, 1000.010).passes);
  const auto refused = zn::globalDelayRule(1000000, 10, 1000.009);
  EXPECT_FALSE(refused.passes);
  EXPECT_EQ(refused.passesAt, 1000010);
  EXPECT_EQ(refused.line, "Device Trigger Last Shown at 00:16:40 -- 01-01-1970 || And Global Delay : 0.0 sec");
  EXPECT_TRUE(zn::globalDelayRule(0, 10, 0).line.empty());
  for (const Value& none : {zn::nil, Value::array({1})}) EXPECT_TRUE(zn::globalDelayRule(1000000, none, 1000).passes);
}

TEST(TriggerRules, DoNotDisturbStringsAndTheWindowThatNeverCloses) {
  TestDevice device;
  EXPECT_EQ(ZNDeviceTriggerUtils::DNDTimeStringFromNumber(905), "9:5");
  EXPECT_EQ(ZNDeviceTriggerUtils::DNDTimeStringFromNumber(zn::nil), "NA");
  EXPECT_EQ(ZNDeviceTriggerUtils::minuteFromDNDString("9:5"), 5);
  EXPECT_EQ(ZNDeviceTriggerUtils::minuteFromDNDString("9:5:1"), -1);
  EXPECT_EQ(ZNDeviceTriggerUtils::hourFromDNDString("NA"), -1);
  const auto engine = std::make_shared<ZNDeviceTriggersHandler>();
  ZNDeviceTriggersDataManager::sharedInstance()->activeDeviceTriggers()->update([](ZNDeviceTriggers::Fields& fields) {
    fields.dndStartTime = "0:0";
    fields.dndEndTime = "23:59";
  });
  EXPECT_FALSE(engine->checkIfDNDForCampaign(*campaign()));
  EXPECT_EQ(device.log().back(),
            "Device Triggers - DND Check in GMT || DND Start Time(0:0) and DND End Time(23:59) || Trigger Time(22:13)");
}

}  // namespace
