#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "Tests/Support/FileSizeLimit.h"
#include "Tests/Support/InTheWay.h"
#include "Tests/Support/TestDevice.h"
#include "Tests/Support/Threads.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/Foundation/PropertyList.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {

using zn::Value;
using zn::test::json;

/// Keeps every request until the test answers it.
class HeldServer final : public ZNNetworkTransport {
 public:
  void execute(const ZNNetworkRequest&, std::function<void(Value)> completion) override {
    held.push_back(std::move(completion));
  }
  void answerAll(const Value& response) {
    for (const auto& each : std::exchange(held, {})) each(response);
  }
  std::vector<std::function<void(Value)>> held;
};

/// A store with a server that the test is; `relaunch` gives the store that the next process would have.
class InboxSync : public ::testing::Test {
 protected:
  using Ids = std::vector<std::string>;

  InboxSync() {
    ZNNetworkRequest::setTransport(server);
    ZNConfigDataManager::sharedInstance()->apply(json(R"({"queryParams": {}})"));
  }
  ~InboxSync() override { ZNNetworkRequest::setTransport(nullptr); }

  static std::shared_ptr<ZNInboxHandler> relaunch() { return std::make_shared<ZNInboxHandler>(); }
  /// What is there after a synchronisation with a server that has nothing.
  Ids synced(const std::shared_ptr<ZNInboxHandler>& inbox) {
    inbox->syncInboxNotificationsWithCompletionHandler(nullptr);
    server->answerAll(zn::nil);
    return idsOf(inbox);
  }
  static void leave(const std::string& payloads) {
    group()->setObject(Value::dictionary({{"zin_pending_notifications", json(payloads)}}), "app-1");
  }
  void leaveOlderFile(const std::string& entries) {
    zn::replaceFile(device.home() + "/Documents/InboxMessages.plist",
                    zn::binaryPropertyList(Value::dictionary({{"messagesInfo", json(entries)}})));
  }
  static std::shared_ptr<NSUserDefaults> group() { return NSUserDefaults::initWithSuiteName("group.test"); }
  static Ids idsOf(const std::shared_ptr<ZNInboxHandler>& inbox) {
    Ids ids;
    const zn::InboxListPtr list = inbox->getAllNotificationModelObjs();
    for (const auto& entry : *list) ids.emplace_back(entry->campaignID().string());
    return ids;
  }
  std::string pending() const { return device.home() + "/Library/ZNInbox/Pending"; }
  std::size_t pendingFiles() const {
    std::error_code none;
    const std::filesystem::directory_iterator files(pending(), none);
    return static_cast<std::size_t>(std::distance(begin(files), end(files)));
  }

  zn::test::TestDevice device;
  const std::shared_ptr<HeldServer> server = std::make_shared<HeldServer>();
};

TEST_F(InboxSync, WhatWasTakenButNotSavedComesInWithTheNextProcess) {
  leave(R"([{"zintar": {"cid": "extension"}}, {"aps": {"alert": "no campaign"}}])");
  leaveOlderFile(R"([{"data": {"zintar": {"cid": "older"}}}])");
  const auto first = relaunch();
  first->syncInboxNotificationsWithCompletionHandler(nullptr);
  device.clock().set(1700000005);
  for (const char* click : {R"({"zintar": {"cid": "clicked"}})", R"({"zintar": {"cid": "extension"}})"}) {
    first->updateClickedNotificationInStorageWithPayload(json(click));
  }
  EXPECT_EQ(pendingFiles(), 4u);
  EXPECT_FALSE(std::filesystem::exists(device.inboxFile()));

  const auto killed = relaunch();  // a click that waits in a process after that one gets a file of its own
  killed->setSyncInProgress(true);
  killed->updateClickedNotificationInStorageWithPayload(json(R"({"zintar": {"cid": "later"}})"));
  EXPECT_EQ(pendingFiles(), 5u);
  // Everything is of the time when it was taken.
  device.clock().set(1700086400);
  const auto second = relaunch();
  EXPECT_EQ(idsOf(second), Ids{});
  EXPECT_EQ(synced(second), (Ids{"clicked", "later", "older", "", "extension"}));
  const auto clicked = second->fetchInboxEntryForCampaignID("clicked");
  EXPECT_EQ(clicked->receivedDate(), zn::Date{1700000005});
  EXPECT_EQ(clicked->clickedDate(), zn::Date{1700000005});
  EXPECT_EQ(second->fetchInboxEntryForCampaignID("older")->inboxExpiryDate(), zn::Date{1702592000});
  const auto received = second->fetchInboxEntryForCampaignID("extension");
  EXPECT_EQ(received->receivedDate(), zn::Date{1700000000}) << "the click comes upon what was received";
  EXPECT_EQ(received->clickedDate(), zn::Date{1700000005});
  EXPECT_EQ(pendingFiles(), 0u);
  EXPECT_EQ(idsOf(relaunch()), idsOf(second));
}

TEST_F(InboxSync, AnySaveCountsAndABatchThatNeverLeftTheListIsVoid) {
  leave(R"([{"zintar": {"cid": "a"}}])");
  const auto first = relaunch();
  first->syncInboxNotificationsWithCompletionHandler(nullptr);
  const std::string batch = pending() + "/1.plist";
  const auto kept = zn::readFile(batch);
  ASSERT_TRUE(kept);
  first->markInboxNotificationReadForCampaignID("a");
  EXPECT_EQ(pendingFiles(), 0u) << "a click's save contains the batch too";

  // As a process leaves it that is killed before the list is emptied.
  Value ghost = zn::parsePropertyList(*kept).value();
  ghost.setObjectNilHandled(json(R"([{"zintar": {"cid": "ghost"}}])"), "payloads");
  zn::replaceFile(pending() + "/2.plist", zn::binaryPropertyList(ghost));
  leave(R"([{"zintar": {"cid": "b"}}])");
  const auto second = relaunch();
  EXPECT_EQ(synced(second), (Ids{"a", "b"}));
  EXPECT_EQ(pendingFiles(), 0u);

  // As one that is killed before it is saved, whose inbox is then cleared.
  zn::replaceFile(pending() + "/3.plist", zn::binaryPropertyList(ghost));
  relaunch()->clearInboxData();
  EXPECT_EQ(pendingFiles(), 0u);
}

TEST_F(InboxSync, ASaveThatWasNotTidiedUpContainsItsBatchesAndAnUnfinishedOneDoesNot) {
  leave(R"([{"zintar": {"cid": "removed"}}, {"zintar": {"cid": "stays"}}])");
  const auto first = relaunch();
  first->updateInboxStorage();
  const auto before = zn::readFile(device.inboxFile());
  first->syncInboxNotificationsWithCompletionHandler(nullptr);
  const std::string batch = pending() + "/1.plist";
  const auto kept = zn::readFile(batch);
  ASSERT_TRUE(before && kept);
  // A folder in the batch's place cannot be removed as a file: the save ends as if the process were killed there.
  std::filesystem::remove(batch);
  std::filesystem::create_directories(batch + "/in the way");
  first->removeNotificationForCampaignID("removed");
  std::filesystem::remove_all(batch);
  zn::replaceFile(batch, *kept);
  const auto record = zn::readFile(pending() + "/Saved.plist");
  ASSERT_TRUE(record);
  const auto second = relaunch();
  EXPECT_EQ(pendingFiles(), 0u);
  EXPECT_EQ(synced(second), Ids{"stays"});

  zn::replaceFile(batch, *kept);
  zn::replaceFile(pending() + "/Saved.plist", *record);
  zn::replaceFile(device.inboxFile(), *before);
  const auto third = relaunch();
  EXPECT_EQ(synced(third), (Ids{"removed", "stays"}));
}

TEST_F(InboxSync, WhatTheOlderFileHoldsComesInOnceAlsoWhereTheFileStayed) {
  leaveOlderFile(R"([{"data": {"zintar": {"cid": "removed"}}}, {"data": {"zintar": {"cid": "stays"}}}])");
  const auto first = relaunch();
  first->syncNotificationFromOlderPlist(nullptr);
  first->removeNotificationForCampaignID("removed");
  const auto saved = zn::readFile(device.inboxFile());
  ASSERT_TRUE(saved);
  first->markInboxNotificationReadForCampaignID("stays");
  zn::replaceFile(device.inboxFile(), *saved);  // as if the last save ended before it replaced the file

  const auto second = relaunch();
  second->syncNotificationFromOlderPlist(nullptr);
  EXPECT_EQ(idsOf(second), Ids{"stays"});
  leaveOlderFile(R"([{"data": {"zintar": {"cid": "other"}}}])");
  EXPECT_EQ(synced(second), (Ids{"stays", "other"}));
  EXPECT_EQ(pendingFiles(), 0u);
}

TEST_F(InboxSync, ABatchThatCannotBeUsedIsKeptAside) {
  const std::string batch = pending() + "/3.plist";
  std::filesystem::create_directories(pending());
  const Value odd = json(R"({"source": "click", "payloads": [{"zintar": {"cid": "a"}}], "origin": "", "taken": []})");
  ASSERT_TRUE(zn::replaceFile(batch, zn::binaryPropertyList(odd)));
  const auto inbox = relaunch();
  EXPECT_EQ(synced(inbox), Ids{});
  EXPECT_TRUE(zn::fileExistsAtPath(batch + ".unreadable"));
  EXPECT_FALSE(zn::fileExistsAtPath(batch));
}

TEST_F(InboxSync, WhatCannotBeReadNowKeepsItsBatchesAndComesInLater) {
  const auto clickDuringSync = [&](const std::shared_ptr<ZNInboxHandler>& inbox, const std::string& campaign) {
    inbox->setSyncInProgress(true);
    inbox->updateClickedNotificationInStorageWithPayload(json(R"({"zintar": {"cid": ")" + campaign + R"("}})"));
  };
  clickDuringSync(relaunch(), "a");
  ASSERT_TRUE(zn::fileExistsAtPath(pending() + "/1.plist"));

  // The folder cannot be listed.
  auto inTheWay = std::make_unique<zn::test::InTheWay>(pending());
  const auto blind = relaunch();
  inTheWay = nullptr;
  clickDuringSync(blind, "b");
  EXPECT_EQ(pendingFiles(), 2u) << "under a name of its own";

  // One batch cannot be read.
  const std::string batch = pending() + "/1.plist";
  inTheWay = std::make_unique<zn::test::InTheWay>(batch);
  const auto third = relaunch();
  EXPECT_EQ(synced(third), Ids{"b"});
  EXPECT_FALSE(zn::fileExistsAtPath(batch + ".unreadable"));
  inTheWay = nullptr;
  EXPECT_EQ(synced(third).size(), 2u);
  EXPECT_EQ(pendingFiles(), 0u);
}

TEST_F(InboxSync, AListThatCannotBeTakenOrEmptiedComesInOnceWhenItCan) {
  group()->setObject(std::string(20000, 'x'), "of the host");
  leave(R"([{"zintar": {"cid": "a"}}])");
  const auto inbox = relaunch();
  for (const int room : {10, 10000}) {  // for nothing; for a batch, but not for the store
    const zn::test::FileSizeLimit full(room);
    inbox->syncNotificationsFromExtension(nullptr);
    EXPECT_EQ(group()->objectForKey("app-1")["zin_pending_notifications"], json(R"([{"zintar": {"cid": "a"}}])"));
    EXPECT_FALSE(device.failures().empty());
    EXPECT_EQ(idsOf(inbox), Ids{});
  }
  EXPECT_EQ(synced(inbox), Ids{"a"});
  EXPECT_EQ(pendingFiles(), 0u);
}

TEST_F(InboxSync, AnAnswerForTheLastUserIsLeftUnusedWhateverMomentTheResetTakes) {
  const Value answer = json(R"({"messagesInfo": [{"data": {"zintar": {"cid": "theirs"}}}]})");
  const auto inbox = relaunch();
  bool succeeded = true;
  inbox->syncInboxFromServerRequestWithCompletionBlock([&](bool success, const Value&) { succeeded = success; });
  ZNMessaging::sharedInstance()->clearUserInfo();
  server->answerAll(answer);
  EXPECT_FALSE(succeeded);

  auto& clock = device.watchClock();
  clock.isTheMoment = [&] { return device.log().back().starts_with("Inbox messages are : "); };  // it is being merged
  clock.action = [&] { inbox->clearInboxData(); };
  inbox->syncInboxNotificationsWithCompletionHandler(nullptr);
  server->answerAll(answer);
  EXPECT_FALSE(clock.isTheMoment) << "the moment never came";
  EXPECT_EQ(idsOf(inbox), Ids{});
}

/// One line a change: "+added =read -removed UNREAD".
struct Recorder final : zn::InboxObserver {
  void inboxChanged(const zn::InboxChange& change) override {
    std::string text;
    for (const auto& [what, ids] : {std::pair("+", &change.added), {"=", &change.read}, {"-", &change.removed}}) {
      for (const Value& id : *ids) text += what + (id.isNil() ? "none" : std::string(id.string())) + ' ';
    }
    lines.push_back(text + std::to_string(change.unreadCount));
    if (inbox && !change.added.empty()) inbox->markInboxNotificationReadForCampaignID(change.added.front());
  }
  std::shared_ptr<ZNInboxHandler> inbox;
  std::vector<std::string> lines;
};

TEST_F(InboxSync, ObserversLearnEachChangeOnceInOrderAndMayUseTheStore) {
  const auto inbox = relaunch();
  leave(R"([{"zintar": {"cid": "before"}}])");
  synced(inbox);
  const auto recorder = [] { return std::make_shared<Recorder>(); };
  const auto first = recorder(), second = recorder(), third = recorder();
  inbox->addObserver(first);
  inbox->addObserver(first);
  inbox->addObserver(second);
  first->inbox = inbox;
  leave(R"([{"zintar": {"cid": "a"}}, {"zintar": {"cid": "b"}}, {"zintar": {}}, {"zintar": {"cid": "before"}}])");
  synced(inbox);
  EXPECT_TRUE(first->lines.empty()) << "told on the main queue only";
  device.device().runPending();
  inbox->removeNotificationForCampaignID("b");
  inbox->addObserver(third);
  inbox->removeObserver(second);
  inbox->clearInboxData();
  device.device().runPending();
  EXPECT_EQ(first->lines, (std::vector<std::string>{"+a +b +none 4", "=a 3", "-b 2", "-a -none -before 0"}));
  EXPECT_EQ(second->lines, (std::vector<std::string>{"+a +b +none 4", "=a 3"}));
  EXPECT_EQ(third->lines, (std::vector<std::string>{"-a -none -before 0"})) << "b went before it came";
}

TEST_F(InboxSync, ObserversLearnWithTheNextChangeWhatTheHostDidToEntriesOfOneCampaignToo) {
  const auto entry = [](const char* campaign, bool isRead = false) {
    const auto made = ZNInboxModel::initWithNotificationPayload(
        Value::dictionary({{"zintar", Value::dictionary({{"cid", campaign}})}}));
    made->setIsRead(isRead);
    return made;
  };
  const auto first = entry("a"), other = entry("b"), second = entry("a", true), last = entry("c"), late = entry("d");
  const auto inbox = relaunch();
  const auto hold = [&](zn::InboxList list) {
    inbox->inboxData()->setInboxMessages(std::make_shared<const zn::InboxList>(std::move(list)));
  };
  hold({late, first, other, second, last});
  const auto recorder = std::make_shared<Recorder>();
  inbox->addObserver(recorder);
  hold({late, second, last});
  inbox->markInboxNotificationReadForCampaignID("d");
  last->setIsRead(true);
  inbox->removeNotificationForCampaignID("d");
  hold({second, last, first});
  inbox->clearInboxData();
  device.device().runPending();
  EXPECT_EQ(recorder->lines, (std::vector<std::string>{"=d =a -b -a 1", "=c -d 0", "-a -c 0"}));
}

TEST_F(InboxSync, SynchronisationsRemovalsAndClearingFromManyThreadsLeaveAllInStep) {
  struct Tally final : zn::InboxObserver {
    void inboxChanged(const zn::InboxChange& change) override {
      for (const Value& id : change.added) ids.insert(std::string(id.string()));
      for (const Value& id : change.removed) {
        const auto known = ids.find(std::string(id.string()));
        ASSERT_NE(known, ids.end()) << id.string();
        ids.erase(known);
      }
    }
    std::multiset<std::string> ids;
  };
  ZNConfigDataManager::sharedInstance()->apply(json(R"({"queryParams": null})"));  // so that no server is asked
  const auto inbox = relaunch();
  const auto tally = std::make_shared<Tally>();
  inbox->addObserver(tally);
  zn::test::onThreads(3, [&](int thread) {
    for (int i = 0; i < 20; ++i) {
      const std::string id = std::to_string(thread) + "-" + std::to_string(i);
      leave(R"([{"zintar": {"cid": ")" + id + R"("}}, {"zintar": {"cid": "x)" + id + R"("}}])");
      inbox->syncInboxNotificationsWithCompletionHandler(nullptr);
      inbox->removeNotificationForCampaignID(id);
      if (i == 10) inbox->clearInboxData();
    }
  });
  synced(inbox);
  device.device().runPending();
  Ids ids = idsOf(inbox);
  EXPECT_EQ(idsOf(relaunch()), ids);
  EXPECT_EQ(tally->ids, std::multiset<std::string>(ids.begin(), ids.end()));
  EXPECT_EQ(pendingFiles(), 0u);
  EXPECT_TRUE(device.failures().empty());
}

}  // namespace
