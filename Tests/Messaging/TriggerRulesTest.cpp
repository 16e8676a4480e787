#include <gtest/gtest.h>

#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/TriggerRules.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggerUtils.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"

namespace {

using zn::Value;
using zn::test::TestDevice;

constexpr std::int64_t kNow = 1700000000000;

std::shared_ptr<ZNDeviceTriggerCampaign> campaign(Value changes = Value::dictionary()) {
  Value dictionary = Value::dictionary({{"campaign_id", "c"},
                                        {"type", "general"},
                                        {"status", "active"},
                                        {"expiry", kNow + 100},
                                        {"max_times", 3},
                                        {"show_delay", 0},
                                        {"max_sync_delay", 1000},
                                        {"min_delay_between_notifications", 50}});
  for (const auto& entry : changes.entries()) dictionary.setObjectNilHandled(entry.value, entry.name());
  return ZNDeviceTriggerCampaign::initWithDictionary(dictionary);
}

ZNDeviceTriggerStatus status(const Value& shownAt, const Value& times) {
  ZNDeviceTriggerStatus made;
  made.setLastShownTime(shownAt);
  made.setNumberOfTimesShown(times);
  return made;
}

zn::Verdict decide(const char* name, const ZNDeviceTriggerCampaign& of, const ZNDeviceTriggerStatus* shown = nullptr,
                   const Value& lastSync = 0) {
  for (const zn::Rule& rule : zn::postingRules()) {
    if (std::string(rule.name) == name) return rule.decide({of, shown, lastSync, kNow});
  }
  ADD_FAILURE() << "no rule " << name;
  return {};
}

TEST(TriggerRules, StandInTheOrderInWhichTheyAreTaken) {
  std::string names;
  for (const zn::Rule& rule : zn::postingRules()) names += std::string(rule.name) + " ";
  EXPECT_EQ(names, "type status expiry syncAge campaignDelay maxTimes ");
}

TEST(TriggerRules, TypeAndStatus) {
  EXPECT_EQ(decide("type", *campaign()).line, "Device Triggers -- Campaign(c) Type : General ✅");
  const auto test = decide("type", *campaign(Value::dictionary({{"type", "test"}})));
  EXPECT_FALSE(test.passes);
  EXPECT_EQ(test.line, "Device Triggers -- Not Posting DT(c) as Type is Test, current type : 1 🛑");
  EXPECT_TRUE(decide("type", *campaign(Value::dictionary({{"type", "Test"}}))).passes);
  const auto paused = decide("status", *campaign(Value::dictionary({{"status", "paused"}})));
  EXPECT_FALSE(paused.passes);
  EXPECT_EQ(paused.line, "Device Triggers -- Not Posting DT(c) as status is not active, current status : paused 🛑");
}

TEST(TriggerRules, ExpiryCountsFromTheShowing) {
  EXPECT_TRUE(decide("expiry", *campaign(Value::dictionary({{"expiry", kNow}}))).passes);
  EXPECT_EQ(decide("expiry", *campaign()).line, "Device Triggers -- Campaign(c) Expired : NO ✅ ");
  const auto late = decide("expiry", *campaign(Value::dictionary({{"expiry", kNow}, {"show_delay", 1}})));
  EXPECT_FALSE(late.passes);
  EXPECT_EQ(late.line, "Device Triggers -- Not Posting DT(c) as it has expired 🛑");
  EXPECT_FALSE(decide("expiry", *campaign(Value::dictionary({{"show_delay", INT64_MAX}}))).passes) << "no overflow";
}

TEST(TriggerRules, SyncAge) {
  EXPECT_TRUE(decide("syncAge", *campaign(), nullptr, 0).passes) << "never synchronised";
  EXPECT_TRUE(decide("syncAge", *campaign(), nullptr, kNow - 1000).passes);
  const auto old = decide("syncAge", *campaign(), nullptr, kNow - 1001);
  EXPECT_FALSE(old.passes);
  EXPECT_FALSE(old.passesAt) << "time only makes it worse";
  EXPECT_EQ(old.line,
            "Device Triggers -- Not Posting DT(c) as it was not synced before campaign Sync Delay Expiry : "
            "(1000 + 1699999998999 = 1699999999999) now : 1700000000000 🛑");
}

TEST(TriggerRules, CampaignDelay) {
  const auto never = status(0, 0);
  EXPECT_EQ(decide("campaignDelay", *campaign(), &never).line,
            "Device Triggers -- Campaign(c) Last Shown Check Passed ✅ ");
  const auto before = status(kNow - 50, 1);
  EXPECT_EQ(decide("campaignDelay", *campaign(), &before).line,
            "Device Triggers -- Campaign(c) Last Shown Check Passed ✅");
  const auto recent = status(kNow - 49, 1);
  const auto refused = decide("campaignDelay", *campaign(), &recent);
  EXPECT_FALSE(refused.passes);
  EXPECT_EQ(refused.passesAt, kNow + 1);
  EXPECT_EQ(refused.line,
            "Device Triggers -- Not Posting DT(c) as it was posted before Campaign Level Delay : "
            "(50 + 1699999999951 = 1700000000001) now : 1700000000000 🛑");
  const auto undated = status(zn::nil, 1);
  EXPECT_TRUE(decide("campaignDelay", *campaign(), &undated).passes) << "a record without a time is no refusal";
}

TEST(TriggerRules, MaxTimes) {
  const auto twice = status(1, 2);
  const auto thrice = status(1, 3);
  EXPECT_EQ(decide("maxTimes", *campaign(), &twice).line,
            "Device Triggers -- Campaign(c) Max Times check Passed | Number of times shown : 2 ✅");
  EXPECT_EQ(decide("maxTimes", *campaign(), &thrice).line,
            "Device Triggers -- Not Posting DT(c) as it has been posted max number of times : 3 🛑");
  EXPECT_EQ(decide("maxTimes", *campaign(Value::dictionary({{"max_times", -9090909}})), &thrice).line,
            "Device Triggers -- Campaign(c) Max Times check Passed ✅");
}

TEST(TriggerRules, GlobalDelayPassesWhenItEnds) {
  TestDevice device;
  EXPECT_TRUE(zn::globalDelayRule(1000000, 10, 1000.010).passes);
  const auto refused = zn::globalDelayRule(1000000, 10, 1000.009);
  EXPECT_FALSE(refused.passes);
  EXPECT_EQ(refused.passesAt, 1000010);
  EXPECT_EQ(refused.line, "Device Trigger Last Shown at 00:16:40 -- 01-01-1970 || And Global Delay : 0.0 sec");
  EXPECT_TRUE(zn::globalDelayRule(0, 10, 0).line.empty());
  EXPECT_TRUE(zn::globalDelayRule(1000000, zn::nil, 1000).passes) << "no delay counts as 0";
  EXPECT_TRUE(zn::globalDelayRule(1000000, Value::array({1}), 1000).passes) << "nor does what is no number";
}

TEST(TriggerRules, DoNotDisturbStringsAndTheWindowThatNeverCloses) {
  TestDevice device;
  EXPECT_EQ(ZNDeviceTriggerUtils::DNDTimeStringFromNumber(1330), "13:30");
  EXPECT_EQ(ZNDeviceTriggerUtils::DNDTimeStringFromNumber(905), "9:5");
  EXPECT_EQ(ZNDeviceTriggerUtils::DNDTimeStringFromNumber(0), "0:0");
  EXPECT_EQ(ZNDeviceTriggerUtils::DNDTimeStringFromNumber(zn::nil), "NA");
  EXPECT_EQ(ZNDeviceTriggerUtils::hourFromDNDString("9:5"), 9);
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
