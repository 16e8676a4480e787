#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "Tests/Support/AnyTypeAnywhere.h"
#include "Tests/Support/InTheWay.h"
#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"

namespace {

using zn::Value;

constexpr std::int64_t kNow = 1700000000000;

Value sent(const char* id, const char* status = "active", std::int64_t expiry = kNow + 1000, const Value& updated = 1,
           int priority = 0) {
  return Value::dictionary({{"campaign_id", id},
                            {"trigger_event_name", "E"},
                            {"status", status},
                            {"expiry", expiry},
                            {"last_updated", updated},
                            {"priority", priority},
                            {"show_delay", 1500}});
}

std::string ids(const ZNDeviceTriggersDataManager& store) {
  std::string text;
  const auto fields = store.activeDeviceTriggers()->fields();
  for (const auto& campaign : fields.campaigns()) text += campaign->campaignID().string();
  return text;
}

std::shared_ptr<ZNDeviceTriggersDataManager> launched() { return std::make_shared<ZNDeviceTriggersDataManager>(); }

class TriggerStore : public testing::Test {
 protected:
  zn::test::TestDevice device;
  const std::shared_ptr<ZNDeviceTriggersDataManager> store = launched();
};

TEST_F(TriggerStore, MergesDropsAndSortsByExactTimesWithWhatIsNoneLast) {
  constexpr std::int64_t kNanoseconds = 1700000000000000001;
  store->saveDeviceTriggerCampaigns(
      Value::array({sent("a", "active", kNow, 1, 1), sent("b", "active", kNow - 1), sent("c", "stopped"),
                    sent("d", "paused", kNow + 1, 9), sent("e", "active", kNow + 1, 1, 2), Value::dictionary()}),
      true);
  EXPECT_EQ(ids(*store), "dea") << "an expiry of now still counts; newest first, then by priority";
  store->saveDeviceTriggerCampaigns(
      Value::array({sent("e", "active", kNow + 1, kNanoseconds), Value::dictionary(), "odd",
                    sent("f", "active", kNow, kNanoseconds + 1), sent("g", "active", kNow, Value::array(), 9)}),
      true);
  EXPECT_EQ(ids(*store), "fedag");
  const auto log = device.log();
  for (const char* line :
       {"Device Triggers -- Campaigns that came: 6, dropped: 3, kept: 3",
        "Device Triggers -- Dropped campaign \"c\": its status is \"stopped\" 🛑",
        "Device Triggers -- Campaigns that came: 5, dropped: 2, kept: 5",
        "Device Triggers -- Dropped entry 3 of the answer: it is malformed: \"odd\" is no dictionary 🛑"}) {
    EXPECT_EQ(std::ranges::count(log, line), 1) << line;
  }
  store->saveDeviceTriggerCampaigns(Value::array({sent("e", "stopped"), sent("d", "expired"), sent("a", "stopped"),
                                                  sent("f", "stopped"), sent("g", "stopped")}),
                                    true);
  EXPECT_EQ(store->activeDeviceTriggers()->fields().deviceTriggers, nullptr) << "no campaign is stored as no list";
  EXPECT_TRUE(store->activeDeviceTriggers()->fields().deviceTriggerEvents.isEmpty());
}

TEST_F(TriggerStore, ShowingsAndTheIndexOutliveTheProcessFreshContentsDoNot) {
  store->saveDeviceTriggerCampaigns(Value::array({sent("a")}), true);
  const auto campaign = store->activeDeviceTriggers()->fields().campaigns()[0];
  store->updateCampaignShownForCampaign(*campaign);
  campaign->updateNotificationPayload(Value::dictionary({{"aps", 1}}));
  store->updateDeviceTriggersInPersistentStorage();
  const auto again = launched();
  EXPECT_EQ(again->activeDeviceTriggers()->fields().campaigns().at(0)->updated_payload(), nullptr);
  EXPECT_EQ(again->getStatusInstanceForCampaign(*campaign)->lastShownTime(), kNow + 1500) << "when it is to appear";
  EXPECT_TRUE(again->activeDeviceTriggers()->waitsForEvent("E"));
}

TEST_F(TriggerStore, ARecordOutlivesItsStoppedCampaignUntilItsOwnExpiry) {
  store->saveDeviceTriggerCampaigns(Value::array({sent("a"), sent("b")}), true);
  const auto fields = store->activeDeviceTriggers()->fields();
  for (const auto& campaign : fields.campaigns()) store->updateCampaignShownForCampaign(*campaign);
  store->saveDeviceTriggerCampaigns(Value::array({sent("a", "stopped"), sent("b", "active", kNow + 9000)}), true);
  EXPECT_EQ(store->activeDeviceTriggers()->fields().statuses().size(), 2u);
  EXPECT_EQ(store->activeDeviceTriggers()->statusForCampaign("b")->expiry(), kNow + 9000);
  device.clock().set(1700000002);
  store->saveDeviceTriggerCampaigns(zn::nil, true);
  EXPECT_EQ(store->activeDeviceTriggers()->statusForCampaign("a"), nullptr);
  EXPECT_NE(store->activeDeviceTriggers()->statusForCampaign("b"), nullptr);
  device.clock().set(1700000010);
  store->saveDeviceTriggerCampaigns(Value::array({sent("b", "active", kNow + 9000)}), true);
  EXPECT_EQ(store->activeDeviceTriggers()->statusForCampaign("b"), nullptr) << "its campaign has expired";
}

// The log tells of every campaign; those that wait for the event decide.
TEST_F(TriggerStore, TheLogDoesNotDecideWhichCampaignsMatch) {
  Value nameless = sent("nameless");
  nameless.removeValidObjectForKey("trigger_event_name");
  Value renamed = sent("renamed");
  for (Value* each : {&nameless, &renamed})
    each->setObjectNilHandled(Value::dictionary({{"eventName", "F"}}), "condition");
  store->saveDeviceTriggerCampaigns(Value::array({nameless, renamed, sent("paused", "paused"), sent("plain")}), true);
  const auto matching = [&](const Value& event) {
    std::string found;
    for (const auto& campaign : store->getCampaignsForEvent(event, zn::nil)) found += campaign->campaignID().string();
    return found;
  };
  const auto onAllEvents = [&] { return matching("E") + "|" + matching("F") + "|" + matching(zn::nil); };
  EXPECT_EQ(onAllEvents(), "renamedplain||");
  // A property that a host sets counts at once.
  const auto stored = store->activeDeviceTriggers()->deviceTriggers();
  for (const auto& campaign : *stored) {
    if (campaign->campaignID() == Value("plain")) campaign->setTriggerEvent("F");
  }
  EXPECT_EQ(onAllEvents(), "renamed|plain|");
  ZNLogger::sharedInstance()->setObserver(nullptr);
  EXPECT_EQ(onAllEvents(), "renamed|plain|");
}

TEST_F(TriggerStore, AConditionThatCannotBeUnderstoodIsToldOnceUntilItIsSetAnew) {
  const auto campaign = ZNDeviceTriggerCampaign::initWithDictionary(sent("a"));
  const auto complaints = [&] {
    for (int i = 0; i < 3; ++i) campaign->checkIfAttributeConditionSatisfiedForEvent("E", zn::nil);
    const auto lines = device.log();
    return std::ranges::count_if(lines,
                                 [](const auto& line) { return line.find("cannot be understood") != line.npos; });
  };
  EXPECT_EQ(complaints(), 0);
  campaign->setAttrConditions(Value::dictionary({{"filter", 5}}));
  EXPECT_EQ(complaints(), 1);
  campaign->setAttrConditions(Value::dictionary({{"filter", 6}}));
  EXPECT_EQ(complaints(), 2);
}

TEST_F(TriggerStore, AFileThatCannotBeReadNowIsMergedLaterAndShowingsAreAddedUpOnce) {
  const std::string path = launched()->getDeviceTriggerFilePath();
  const auto shownTimes = [](const auto& in, const char* campaign) {
    const auto record = in->activeDeviceTriggers()->statusForCampaign(campaign);
    return record ? record->numberOfTimesShown() : Value();
  };
  const auto show = [](const auto& in, const char* campaign) {
    in->updateCampaignShownForCampaign(*ZNDeviceTriggerCampaign::initWithDictionary(sent(campaign)));
  };
  store->saveDeviceTriggerCampaigns(Value::array({sent("a"), sent("b")}), true);
  show(store, "a");
  device.clock().set(1700000100);
  {
    const zn::test::InTheWay inTheWay(path);
    const auto second = launched();
    show(second, "a");
    show(second, "b");
    EXPECT_EQ(ids(*second), "");
  }
  const auto later = zn::readFile(path + ".later");
  ASSERT_TRUE(later);

  const auto third = launched();
  third->retryStorage();
  EXPECT_FALSE(zn::fileExistsAtPath(path + ".later"));
  zn::replaceFile(path + ".later", *later);  // as if the process had ended before it was removed
  for (const auto& each : {third, launched()}) {
    EXPECT_EQ(ids(*each), "ab");
    EXPECT_EQ(shownTimes(each, "a"), 2);
    EXPECT_EQ(shownTimes(each, "b"), 1);
    EXPECT_EQ(each->getDeviceTriggerLastUpdatedTime(), kNow);
  }
}

TEST_F(TriggerStore, AnyTypeAnywhereInACampaignIsSurvivedAndSaved) {
  const Value whole = zn::test::json(
      R"({"campaign_id": "x", "payload": {"aps": {"alert": {"title": "t"}}, "zintar": {"cid": "x"}},
          "trigger_event_name": "E", "condition": {"filter": {"attribute": "a", "is": "equals", "value": 1}},
          "type": "general", "status": "active", "expiry": 4070908800000, "priority": 1, "max_times": 3,
          "min_delay_between_notifications": 5, "last_updated": 1, "show_delay": 0, "max_sync_delay": 5,
          "should_support_offline": true, "should_ignore_dnd": false})");
  const auto engine = std::make_shared<ZNDeviceTriggersHandler>();
  zn::test::forAnyTypeAnywhere(whole, [&](const Value& odd) {
    store->saveDeviceTriggerCampaigns(Value::array({odd, sent("good")}), true);
    ASSERT_NE(ids(*store).find("good"), std::string::npos) << zn::description(odd) << " costs another campaign";
    for (const auto& each : store->getCampaignsForEvent("E", Value::dictionary({{"a", 1}}))) {
      engine->canPostDeviceTrigger(*each);
      store->updateCampaignShownForCampaign(*each);
    }
    engine->explainEvent("E", Value::dictionary({{"a", 1}}), [](const Value&) {});
    ASSERT_TRUE(store->updateDeviceTriggersInPersistentStorage());
  });
  EXPECT_FALSE(zn::fileExistsAtPath(launched()->getDeviceTriggerFilePath() + ".unreadable"));
}

/// Each property that is archived, of each record, and what is not.
template <class Record, class... Setters>
void eachRenews(Record& record, const zn::Coding& whole, Setters... setters) {
  std::uint64_t last = whole.revision();
  int number = 0;
  const auto renews = [&](auto setter) {
    (record.*setter)({});
    EXPECT_GT(whole.revision(), last) << record.archivedClassName() << ", setter " << number;
    last = whole.revision();
    ++number;
  };
  (renews(setters), ...);
}

TEST_F(TriggerStore, WhatIsArchivedOfARecordCannotChangeUnderOneRevision) {
  using Campaign = ZNDeviceTriggerCampaign;
  using Payload = ZNDeviceTriggerPayload;
  using Status = ZNDeviceTriggerStatus;
  Status status;
  eachRenews(status, status, &Status::setCampaignID, &Status::setNumberOfTimesShown, &Status::setLastShownTime,
             &Status::setExpiry);
  EXPECT_NE(Status(status).revision(), status.revision());
  const auto older = Payload::initWithDictionary({});
  const auto campaign = Campaign::initWithDictionary(sent("a"));
  campaign->setPayload(Payload::initWithDictionary({}));
  eachRenews(*campaign->payload(), *campaign, &Payload::setCampaignID, &Payload::setAlertTitle,
             &Payload::setAlertSubTitle, &Payload::setAlertBody, &Payload::setAlertSound, &Payload::setAttachmentURL,
             &Payload::setCategory, &Payload::setPushDict);
  const std::uint64_t before = campaign->revision();
  campaign->setPayload(older);
  EXPECT_GT(campaign->revision(), before);
  eachRenews(*campaign, *campaign, &Campaign::setCampaignID, &Campaign::setPayload, &Campaign::setTriggerEvent,
             &Campaign::setAttrConditions, &Campaign::setCampaignType, &Campaign::setStatus, &Campaign::setExpiry,
             &Campaign::setMaxTimes, &Campaign::setPriority, &Campaign::setTriggerDelay, &Campaign::setMaxSyncDelay,
             &Campaign::setCampaignDelay, &Campaign::setLastUpdatedTime, &Campaign::setShouldSupportOffline,
             &Campaign::setShouldIgnoreDND);
  const std::uint64_t last = campaign->revision();
  campaign->matches("E", zn::nil);
  campaign->updateNotificationPayload(Value::dictionary({{"aps", 1}}));
  EXPECT_EQ(campaign->revision(), last) << "neither the condition as it was understood nor fresh contents are archived";
}

// What a record was archived as is used again while the record stays: it may stay only where a new one would be
// archived as the same bytes.
TEST_F(TriggerStore, ASynchronisationKeepsARecordExactlyWhereANewOneWouldBeArchivedAlike) {
  const Value half = Value::dictionary({{"title", "t"}, {"n", 1}, {"list", Value::array({0.0})}});
  Value whole = sent("x");
  whole.setObjectNilHandled(Value::dictionary({{"aps", Value::dictionary({{"alert", half}})}}), "payload");
  whole.setObjectNilHandled(Value::dictionary({{"filter", half}}), "condition");
  std::vector<Value> firsts{whole, Value::dictionary({{"campaign_id", "x"}})};
  const auto with = [&](const Value& value, const char* key) {
    firsts.push_back(whole);
    firsts.back().setObjectNilHandled(value, key);
  };
  for (const Value& number : {Value(1), Value(1.0), Value(true), Value(0.0), Value(-0.0), Value(std::nan(""))}) {
    with(number, "priority");
  }
  for (const Value& list : {Value::array({1}), Value::array({1}).mutableCopy()}) {
    with(Value::dictionary({{"list", list}}), "payload");
  }
  std::vector<Value> seconds = firsts;
  seconds.push_back(*zn::parseJson(zn::jsonText(whole)));  // other storage
  zn::test::forAnyTypeAnywhere(whole, [&](const Value& odd) {
    if (odd["campaign_id"] == Value("x")) seconds.push_back(odd);
  });
  std::size_t kept = 0;
  for (const Value& first : firsts) {
    for (const Value& second : seconds) {
      const auto known = ZNDeviceTriggerCampaign::initWithDictionary(first);
      const auto made = ZNDeviceTriggerCampaign::initWithDictionary(second);
      const bool isKept = ZNDeviceTriggerCampaign::initWithDictionary(second, known) == known;
      EXPECT_EQ(isKept, zn::NSKeyedArchiver::archivedDataWithRootObject(*known) ==
                                zn::NSKeyedArchiver::archivedDataWithRootObject(*made) &&
                            known->malformation() == made->malformation())
          << zn::description(first) << zn::description(second);
      kept += isKept;
    }
  }
  EXPECT_GT(kept, firsts.size());
}

TEST_F(TriggerStore, AnUnchangedCampaignIsTheStoredRecordButForWhatASynchronisationEnds) {
  Value odd = sent("a");
  odd.setObjectNilHandled(Value::dictionary({{"filter", 5}}), "condition");
  odd.setObjectNilHandled(zn::test::realisticPayload("a"), "payload");
  store->saveDeviceTriggerCampaigns(Value::array({odd, sent("b")}), true);
  const auto again = launched();
  const auto stored = [&] { return again->activeDeviceTriggers()->campaignsForEvent("E"); };
  const auto first = stored();
  const auto complaints = [&] {
    for (const auto& each : stored()) each->checkIfAttributeConditionSatisfiedForEvent("E", zn::nil);
    return std::ranges::count_if(device.log(), [](const auto& line) { return line.find("cannot be") != line.npos; });
  };
  EXPECT_EQ(complaints(), 1);
  again->saveDeviceTriggerCampaigns(Value::array({odd}), true);
  EXPECT_EQ(stored(), (zn::CampaignList{first[1], first[0]})) << "of equals, what came last comes last";
  EXPECT_EQ(complaints(), 2) << "of what came anew, known or not";
  first[0]->updateNotificationPayload(Value::dictionary({{"aps", 1}}));
  again->saveDeviceTriggerCampaigns(Value::array({odd}), true);
  ASSERT_EQ(stored().size(), 2u);
  EXPECT_NE(stored()[1], first[0]) << "fresh contents end with a synchronisation";
  EXPECT_EQ(stored()[1]->payload(), first[0]->payload());
}

}  // namespace
