#include <gtest/gtest.h>

#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/ZNInbox/ZNInboxStorage/InboxList.h"

namespace {

using zn::Date;
using zn::InboxList;
using zn::Value;
using zn::test::TestDevice;

std::shared_ptr<ZNInboxModel> entry(const Value& campaign, double received) {
  Value zintar = Value::dictionary({{"received_epoch_val", received}});
  zintar.setObjectNilHandled(campaign, "cid");
  return ZNInboxModel::initWithNotificationPayload(Value::dictionary({{"zintar", zintar}}));
}

std::shared_ptr<ZNInboxModel> dateless(const Value& campaign) {
  auto made = entry(campaign, 1);
  made->setReceivedDate(zn::nil);
  return made;
}

std::string ids(const InboxList& list) {
  std::string text;
  for (const auto& each : list) text += each->campaignID().isNil() ? "-" : std::string(each->campaignID().string());
  return text;
}

TEST(InboxList, SortsNewestFirstStablyWithDatelessEntriesLast) {
  TestDevice device;
  EXPECT_EQ(ids(zn::sortedNewestFirst(
                {dateless("x"), entry("a", 5), entry("b", 9), entry("c", 5), dateless("y"), entry("d", -3)})),
            "bacdxy");
  EXPECT_EQ(ids(zn::sortedNewestFirst({entry("a", 9), entry("b", 7), entry("c", 8), entry("d", 9)})), "adcb");
  EXPECT_EQ(ids(zn::sortedNewestFirst({})), "");
}

TEST(InboxList, ANewCopyReplacesAllStoredOnesAndKeepsFirstReceiptAndClick) {
  TestDevice device;
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
}

TEST(InboxList, TheLastReadCopyDecidesAlsoWithoutAClickedDate) {
  TestDevice device;
  const auto first = entry("a", 10);
  first->setIsRead(true);
  first->setClickedDate(Date{15});
  const auto second = entry("a", 20);
  second->setIsRead(true);
  const auto fresh = entry("a", 99);
  fresh->setClickedDate(Date{77});
  zn::mergedWithNewEntries({first, second}, {fresh});
  EXPECT_EQ(fresh->clickedDate(), Date{77});
}

TEST(InboxList, NewEntriesOfOneCampaignReplaceEachOtherAndNoCampaignIsOneOfItsOwn) {
  TestDevice device;
  EXPECT_EQ(ids(zn::mergedWithNewEntries({entry(zn::nil, 1), entry("b", 2)},
                                         {entry("a", 3), entry(zn::nil, 4), entry("a", 5)})),
            "b-a");
  EXPECT_EQ(ids(zn::mergedWithNewEntries({entry(7, 1)}, {entry(7.0, 2)})).size(), 0u)
      << "numbers are one campaign when they are equal";
}

TEST(InboxList, AServerEntryOfAStoredCampaignIsIgnored) {
  TestDevice device;
  const auto stored = entry("a", 1);
  const auto merged = zn::mergedWithServerEntries({stored}, {entry("a", 9), entry("b", 2), entry("b", 3)});
  EXPECT_EQ(ids(merged), "ab");
  EXPECT_EQ(merged[0], stored);
  EXPECT_EQ(merged[1]->receivedDate(), Date{2});
}

TEST(InboxList, ExpiryKeepsWhatEndsLaterThanNow) {
  TestDevice device;
  const auto withExpiry = [](const char* campaign, double expiry) {
    return ZNInboxModel::initWithNotificationPayload(Value::dictionary(
        {{"zintar", Value::dictionary({{"cid", campaign}, {"received_epoch_val", 1}, {"inbox_expiry", expiry}})}}));
  };
  EXPECT_EQ(ids(zn::withoutExpired({withExpiry("a", 100), withExpiry("b", 100.5), std::make_shared<ZNInboxModel>()},
                                   Date{100}, 30)),
            "b");
  const auto dateless = withExpiry("c", 0);
  dateless->setReceivedDate(zn::nil);
  dateless->setInboxExpiryDate(zn::nil);
  EXPECT_EQ(ids(zn::withoutExpired({dateless}, Date{100}, 30)), "c");
  EXPECT_EQ(dateless->receivedDate(), Date{100}) << "its period begins";
}

}  // namespace
