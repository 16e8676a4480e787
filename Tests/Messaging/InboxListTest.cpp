#include <gtest/gtest.h>

#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/ZNInbox/ZNInboxStorage/InboxList.h"

namespace {

using zn::Date;
using zn::InboxList;
using zn::Value;

class InboxListRules : public testing::Test {
 protected:
  static std::shared_ptr<ZNInboxModel> entry(const Value& campaign, double received, const Value& expiry = zn::nil) {
    return ZNInboxModel::initWithNotificationPayload(Value::dictionary(
        {{"zintar",
          Value::dictionary({{"cid", campaign}, {"received_epoch_val", received}, {"inbox_expiry", expiry}})}}));
  }
  static std::shared_ptr<ZNInboxModel> dateless(const Value& campaign) {
    auto made = entry(campaign, 1);
    made->setReceivedDate(zn::nil);
    made->setInboxExpiryDate(zn::nil);
    return made;
  }
  static std::string ids(const InboxList& list) {
    std::string text;
    for (const auto& each : list) text += each->campaignID().isNil() ? "-" : std::string(each->campaignID().string());
    return text;
  }
  zn::test::TestDevice device;
};

TEST_F(InboxListRules, SortsNewestFirstStablyWithDatelessEntriesLast) {
  EXPECT_EQ(ids(zn::sortedNewestFirst(
                {dateless("x"), entry("a", 5), entry("b", 9), entry("c", 5), dateless("y"), entry("d", -3)})),
            "bacdxy");
  EXPECT_EQ(ids(zn::sortedNewestFirst({entry("a", 9), entry("b", 7), entry("c", 7), entry("d", 3), entry("e", 8),
                                       entry("f", 7), entry("g", 10), dateless("x"), entry("h", 3)})),
            "gaebcfdhx")
      << "what comes after a sorted beginning goes to its place, behind equal ones";
}

TEST_F(InboxListRules, ANewCopyReplacesAllStoredOnesAndKeepsFirstReceiptAndClick) {
  const auto first = entry("a", 10);
  const auto second = entry("a", 20);
  first->setIsRead(true);
  first->setClickedDate(Date{15});
  const auto fresh = entry("a", 99);
  const auto merged = zn::mergedWithNewEntries({first, entry("b", 1), second}, {fresh});
  EXPECT_EQ(ids(merged), "ba");
  EXPECT_EQ(merged[1], fresh);
  EXPECT_TRUE(fresh->isRead());
  EXPECT_EQ(fresh->clickedDate(), Date{15});
  EXPECT_EQ(fresh->receivedDate(), Date{20}) << "the last stored copy with a date decides";

  second->setIsRead(true);
  fresh->setClickedDate(Date{77});
  zn::mergedWithNewEntries({first, second}, {fresh});
  EXPECT_EQ(fresh->clickedDate(), Date{77}) << "the last read copy decides, also without a clicked date";
}

TEST_F(InboxListRules, NewEntriesOfOneCampaignReplaceEachOtherAndNoCampaignIsOneOfItsOwn) {
  EXPECT_EQ(ids(zn::mergedWithNewEntries({entry(zn::nil, 1), entry("b", 2)},
                                         {entry("a", 3), entry(zn::nil, 4), entry("a", 5)})),
            "b-a");
  EXPECT_EQ(zn::mergedWithNewEntries({entry(7, 1)}, {entry(7.0, 2)}).size(), 1u)
      << "numbers are one campaign when they are equal";
}

TEST_F(InboxListRules, AServerEntryOfAStoredCampaignIsIgnored) {
  const auto stored = entry("a", 1);
  const auto merged = zn::mergedWithServerEntries({stored}, {entry("a", 9), entry("b", 2), entry("b", 3)});
  EXPECT_EQ(ids(merged), "ab");
  EXPECT_EQ(merged[0], stored);
  EXPECT_EQ(merged[1]->receivedDate(), Date{2});
}

TEST_F(InboxListRules, ExpiryKeepsWhatEndsLaterThanNow) {
  const auto undated = dateless("c");
  EXPECT_EQ(ids(zn::withoutExpired(
                {entry("a", 1, 100), entry("b", 1, 100.5), std::make_shared<ZNInboxModel>(), undated}, Date{100}, 30)),
            "bc");
  EXPECT_EQ(undated->receivedDate(), Date{100}) << "its period begins";
}

}  // namespace
