#include <gtest/gtest.h>

#include "Tests/Support/RawServer.h"
#include "Tests/Support/Requests.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNPlatform/Foundation/Json.h"

namespace {

using InboxSyncTest = zn::test::Requests;

TEST_F(InboxSyncTest, AServerThatHangsUpEndsItAndTheClickIsRecordedThen) {
  std::promise<void> clicked;
  zn::test::RawServer server([clicked = clicked.get_future().share()](zn::test::RawConnection& connection) {
    connection.request();
    clicked.wait();  // and hangs up
  });
  configure(server.port());
  ZNConfigDataManager::sharedInstance()->apply(*zn::parseJson(R"({"queryParams": {}})"));
  const auto inbox = std::make_shared<ZNInboxHandler>();
  std::promise<bool> done;
  inbox->syncInboxNotificationsWithCompletionHandler([&](bool success) { done.set_value(success); });
  inbox->updateClickedNotificationInStorageWithPayload(*zn::parseJson(R"({"zintar": {"cid": "clicked"}})"));
  EXPECT_TRUE(inbox->syncInProgress());
  EXPECT_EQ(inbox->getAllNotificationCount(), 0u);
  clicked.set_value();
  EXPECT_TRUE(done.get_future().get());
  EXPECT_FALSE(inbox->syncInProgress());
  while (inbox->getAllNotificationCount() == 0) device.device().runFor(60);
  EXPECT_TRUE(inbox->fetchInboxEntryForCampaignID("clicked")->isRead());
}

TEST_F(InboxSyncTest, AServerThatNeverAnswersEndsItAtTheTimeLimit) {
  zn::test::RawServer server([](zn::test::RawConnection& connection) { connection.waitUntilGone(); });
  configure("http://127.0.0.1:" + std::to_string(server.port()), *zn::parseJson(R"({"timeout": 1})"));
  ZNConfigDataManager::sharedInstance()->apply(*zn::parseJson(R"({"queryParams": {}})"));
  const auto inbox = std::make_shared<ZNInboxHandler>();
  std::promise<bool> done;
  inbox->syncInboxNotificationsWithCompletionHandler([&](bool success) { done.set_value(success); });
  EXPECT_TRUE(done.get_future().get());
  EXPECT_FALSE(inbox->syncInProgress());
}

}  // namespace
