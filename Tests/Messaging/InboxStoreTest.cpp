#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "Tests/Support/InTheWay.h"
#include "Tests/Support/TestDevice.h"
#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/Foundation/Storage.h"

namespace {

using zn::Date;
using zn::Value;
using zn::test::realisticPayload;
using zn::test::TestDevice;

std::shared_ptr<ZNInboxHandler> launched() { return std::make_shared<ZNInboxHandler>(); }

class StorageRecorder : public zn::StorageObserver {
 public:
  void storageChanged(const std::vector<zn::StorageProblem>& problems) override { counts.push_back(problems.size()); }
  std::vector<std::size_t> counts;
};

TEST(InboxStore, ARelaunchReadsEveryFieldOfAClickedPush) {
  TestDevice device;
  launched()->updateClickedNotificationInStorageWithPayload(realisticPayload("c1", 1600000000.5));
  const auto entry = launched()->fetchInboxEntryForCampaignID("c1");
  ASSERT_TRUE(entry);
  EXPECT_EQ(Value::array({entry->campaignID(), entry->notificationTitle(), entry->notificationSubTitle(),
                          entry->notificationBody(), entry->notificationSound(), entry->notificationMediaURL(),
                          entry->richLandingURL(), entry->deepLinkURL(), entry->screenName(), entry->screenDataDict(),
                          entry->isRead()}),
            zn::test::json(R"(["c1", "Your order c1 is on its way", "Parcel 2 of 3",
                "The courier comes between 14:00 and 16:00.", "chime.caf", "https://cdn.example/images/c1.jpg",
                "https://shop.example/deals/autumn?utm_source=push", "shop://orders/c1", "OrderDetails",
                {"order": "c1", "tab": "tracking"}, true])"));
  EXPECT_EQ(entry->receivedDate(), Date{1600000000.5});
  EXPECT_EQ(entry->clickedDate(), Date{1700000000});
  EXPECT_EQ(entry->inboxExpiryDate(), Date{1602592000});
  EXPECT_TRUE(entry->notificationPayloadDict().isMutable());
  EXPECT_EQ(entry->notificationPayloadDict()["zintar"].identity(), entry->zintarDict().identity());
  const auto size = zn::readFile(device.inboxFile())->size();
  EXPECT_TRUE(launched()->updateInboxStorage());
  EXPECT_EQ(zn::readFile(device.inboxFile())->size(), size) << "shared objects are written shared again";
}

TEST(InboxStore, AFileThatCannotBeReadNowStaysAndWhatComesMeanwhileIsMergedLater) {
  TestDevice device;
  const std::string later = device.inboxFile() + ".later";
  const auto click = [](const auto& store, const char* campaign) {
    store->updateClickedNotificationInStorageWithPayload(realisticPayload(campaign));
  };
  const auto first = launched();
  click(first, "c1");
  click(first, "c2");
  auto inTheWay = std::make_unique<zn::test::InTheWay>(device.inboxFile());
  device.clock().set(1700000100);
  testing::internal::CaptureStderr();
  const auto second = launched();
  click(second, "c1");
  click(second, "c3");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "zintar: cannot read " + device.inboxFile() +
                                                        ": Is a directory; until it can be read, changes are kept in " +
                                                        later + "\n");
  EXPECT_EQ(launched()->getAllNotificationCount(), 2u) << "the next process has them, if it cannot read it either";
  EXPECT_FALSE(zn::fileExistsAtPath(device.inboxFile() + ".unreadable"));

  inTheWay = nullptr;
  const auto third = launched();
  second->retryStorage();
  EXPECT_FALSE(zn::fileExistsAtPath(later));
  for (const auto& store : {second, third, launched()}) {
    EXPECT_EQ(store->getAllNotificationCount(), 3u);
    EXPECT_EQ(store->fetchInboxEntryForCampaignID("c1")->clickedDate(), Date{1700000000}) << "the first click counts";
  }

  // What is cleared does not come back with a file that could not be read.
  inTheWay = std::make_unique<zn::test::InTheWay>(device.inboxFile());
  const auto fourth = launched();
  inTheWay = nullptr;
  fourth->clearInboxData();
  EXPECT_EQ(launched()->getAllNotificationCount(), 0u);
}

TEST(InboxStore, WhatIsNoFileToReadIsKeptAsideAtOnceAndEveryStoreGoesOn) {
  TestDevice device;
  const std::string home = device.home();
  const std::string paths[] = {"/Library/ZNInbox/InboxData",     "/Library/ZNInbox/Pending/7.plist",
                               "/Documents/InboxMessages.plist", "/Preferences/group.test.plist",
                               "/Library/ZinDeviceTriggers",     "/Library/ZNAnalytics/Events.jsonl"};
  for (int kind = 0; const std::string& path : paths) {
    const std::string file = home + path;
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    if (kind++ % 3 == 0) {
      ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    } else if (kind % 3 == 2) {
      std::ofstream(file).put('x');
      std::filesystem::resize_file(file, std::uintmax_t{6} << 30);  // sparse
    } else {
      std::filesystem::create_symlink("/dev/zero", file);
    }
  }
  ZNAnalytics::sharedInstance()->trackEvent("opened", nullptr);
  NSUserDefaults::initWithSuiteName("group.test")->setObject("set", "key");
  const auto triggers = std::make_shared<ZNDeviceTriggersDataManager>();
  triggers->saveDeviceTriggerCampaigns(zn::test::json(R"([{"campaign_id": "t", "status": "active",
                                                           "expiry": 1800000000000}])"),
                                       true);
  const auto inbox = launched();
  inbox->syncInboxNotificationsWithCompletionHandler(nullptr);
  device.device().runPending();
  inbox->updateClickedNotificationInStorageWithPayload(realisticPayload("a"));

  for (const std::string& path : paths) {
    EXPECT_TRUE(std::filesystem::exists(std::filesystem::symlink_status(home + path + ".unreadable"))) << path;
  }
  EXPECT_EQ(launched()->getAllNotificationCount(), 1u);
  EXPECT_EQ(std::make_shared<ZNDeviceTriggersDataManager>()->activeDeviceTriggers()->fields().campaigns().size(), 1u);
  EXPECT_EQ(NSUserDefaults::initWithSuiteName("group.test")->objectForKey("key"), "set");
  EXPECT_GT(std::filesystem::file_size(home + "/Library/ZNAnalytics/Events.jsonl"), 0u);
}

TEST(InboxStore, AFileThatCannotBeWrittenIsLoggedAndMemoryKeepsItsState) {
  TestDevice device;
  const auto store = launched();
  store->updateClickedNotificationInStorageWithPayload(realisticPayload("c1"));
  const auto saved = zn::readFile(device.inboxFile());
  auto inTheWay = std::make_unique<zn::test::InTheWay>(device.home() + "/Library");
  const auto observer = std::make_shared<StorageRecorder>();
  const auto removed = std::make_shared<StorageRecorder>();
  for (const auto& each : {observer, removed}) zn::Storage::addObserver(each);
  testing::internal::CaptureStderr();
  store->updateClickedNotificationInStorageWithPayload(realisticPayload("c2"));
  EXPECT_EQ(store->getAllNotificationCount(), 2u);
  EXPECT_EQ(device.log().back().find("Inbox could not be saved: "), 0u) << device.log().back();
  store->markInboxNotificationReadForCampaignID("c1");
  store->removeNotificationForCampaignID("none");
  EXPECT_FALSE(store->updateInboxStorage());
  const auto problems = zn::Storage::problems();
  ASSERT_EQ(problems.size(), 1u);
  EXPECT_EQ(problems[0].file, device.inboxFile());
  EXPECT_EQ(problems[0].since, Date{1700000000});
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "zintar: " + problems[0].reason + "; changes stay in memory until it can be saved\n");
  inTheWay = nullptr;
  EXPECT_EQ(zn::readFile(device.inboxFile()), saved) << "the old file stands";
  device.clock().set(1700000100);
  store->retryStorage();
  EXPECT_EQ(launched()->getAllNotificationCount(), 2u);
  EXPECT_TRUE(zn::Storage::problems().empty());
  zn::Storage::removeObserver(removed);
  device.device().runPending();
  EXPECT_EQ(observer->counts, (std::vector<std::size_t>{1, 0}));
  EXPECT_TRUE(removed->counts.empty());
}

TEST(InboxStore, TheTimeOfTheLastSynchronisationMovesInFromOlderVersionsOnce) {
  TestDevice device;
  NSUserDefaults::standardUserDefaults()->setObject(Date{1650000000}, "ZN_lastUpdatedTimeForInbox");
  const auto store = launched();
  EXPECT_EQ(store->inboxData()->lastUpdatedFromServerSync(), Date{1650000000});
  EXPECT_TRUE(NSUserDefaults::standardUserDefaults()->objectForKey("ZN_lastUpdatedTimeForInbox").isNil());
}

}  // namespace
