#include <gtest/gtest.h>

#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxModel.h"

namespace {

using zn::Date;
using zn::Value;
using zn::test::json;

class InboxModel : public testing::Test {
 protected:
  static std::shared_ptr<ZNInboxModel> entryFor(const char* payload) {
    return ZNInboxModel::initWithNotificationPayload(json(payload));
  }
  zn::test::TestDevice device;
};

TEST_F(InboxModel, StampsAMissingReceiptAtTheTopLevelAndTheExpiryInsideZintar) {
  const auto entry = entryFor(R"({"aps": {"alert": "Hello"}, "zintar": {"cid": "c1"}})");
  EXPECT_EQ(entry->notificationBody(), "Hello");
  EXPECT_EQ(entry->receivedDate(), Date{1700000000});
  EXPECT_EQ(entry->inboxExpiryDate(), Date{1702592000});
  EXPECT_EQ(entry->zintarDict(), json(R"({"cid": "c1", "inbox_expiry": "1702592000"})"));
  EXPECT_EQ(entry->notificationPayloadDict(),
            json(R"({"aps": {"alert": "Hello"}, "zintar": {"cid": "c1"}, "received_epoch_val": 1700000000})"));
}

TEST_F(InboxModel, OfAPayloadWithADateThatIsNoneWhatWasFilledInBeforeStays) {
  const auto partial = entryFor(R"({"aps": {"alert": "Hi"}, "zintar": {"cid": "c", "received_epoch_val": [1]}})");
  EXPECT_EQ(partial->notificationBody(), "Hi");
  EXPECT_TRUE(partial->notificationPayloadDict().isNil());
  ASSERT_EQ(device.failures().size(), 1u);
  EXPECT_EQ(device.failures()[0].text.find("exception while creating inbox data model is "), 0u);
}

TEST_F(InboxModel, ALegacyEntrysReceiptAndReadStateFillWhatItsPayloadLacks) {
  const auto entry = ZNInboxModel::initWithLegacyInboxPlistPayload(
      json(R"({"data": {"zintar": {"cid": "c", "received_epoch_val": 7}}, "c_cr_t": 9, "isRead": false})"));
  EXPECT_EQ(entry->receivedDate(), Date{7});
  EXPECT_TRUE(entry->zintarDict()["isRead"].isNil());
  const auto empty = ZNInboxModel::initWithLegacyInboxPlistPayload(json(R"({"c_cr_t": 9, "isRead": true})"));
  EXPECT_TRUE(empty->receivedDate().isNil());
  EXPECT_FALSE(empty->isRead());
}

TEST_F(InboxModel, AClickIsSeenInTheStoredPayloadAndSharesItsDictionary) {
  const auto entry = entryFor(R"({"zintar": {"cid": "c", "received_epoch_val": 5}})");
  const Value before = entry->notificationPayloadDict();
  EXPECT_TRUE(entry->markClickedIfUnread());
  device.clock().set(1700000050);
  EXPECT_FALSE(entry->markClickedIfUnread());
  EXPECT_EQ(entry->clickedDate(), Date{1700000000});
  entry->updateClickedDate();
  const Value payload = entry->notificationPayloadDict();
  EXPECT_EQ(payload.validObjectForKeyPath("zintar.clicked_epoch_val"), 1700000050);
  EXPECT_EQ(payload["zintar"].identity(), entry->zintarDict().identity());
  EXPECT_TRUE(before.validObjectForKeyPath("zintar.isRead").isNil()) << "a value handed out is a snapshot";
}

}  // namespace
