// The inbox screen where its timing, its resource file or its table matter; what it shows and does is in scenarios.

#include "ZNDevices/Simulator/InboxScreen.h"

#include <gtest/gtest.h>

#include <set>

#include "Tests/Support/TestHome.h"
#include "ZNDevices/Simulator/Simulator.h"
#include "ZNMessaging/ZNInbox/ZNInbox.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/InboxStoryboard_p.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxViewController.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"

namespace {

using zn::Value;
using Strings = std::vector<std::string>;

Value payload(const std::string& campaign, double received) {
  return Value::dictionary(
      {{"aps", Value::dictionary({{"alert", Value::dictionary({{"title", "Title " + campaign}})}})},
       {"zintar", Value::dictionary({{"cid", campaign}, {"received_epoch_val", received}})}});
}

std::string rows(const std::vector<NSIndexPath>& paths) {
  std::string text;
  for (const NSIndexPath& each : paths) text += " " + std::to_string(each.row);
  return text;
}

/// Writes down what a table says to whoever draws it.
class Display : public zn::TableDisplay {
 public:
  void rowsReloaded(const std::vector<NSIndexPath>& paths, UITableViewRowAnimation animation) override {
    lines.push_back("reload" + rows(paths) + (animation == UITableViewRowAnimation::automatic ? " automatic" : ""));
  }
  void rowsDeleted(const std::vector<NSIndexPath>& paths, UITableViewRowAnimation animation) override {
    lines.push_back("delete" + rows(paths) + (animation == UITableViewRowAnimation::fade ? " fade" : ""));
  }
  Strings lines;
};

class InboxScreenTest : public testing::Test {
 protected:
  InboxScreenTest() {
    simulator_->setEffectObserver([this](const zn::Effect& effect) {
      if (effect.kind == "syslog" || effect.kind == "error") failures_.push_back(effect.line());
    });
    fill({"a", "b", "c"});
    screen_ = zn::InboxScreen::open();
    screen_->inbox()->inboxTableView()->setDisplay(display_);
    screen_->appear();
  }
  ~InboxScreenTest() override { simulator_->setEffectObserver(nullptr); }

  static void fill(const Strings& campaigns) {
    Value entries = Value::array();
    double received = 1700000000;
    for (const std::string& each : campaigns) entries.append(Value::dictionary({{"data", payload(each, received--)}}));
    ZNInboxHandler::sharedInstance()->resetInboxDataWithLegacyPayloadArray(entries);
  }
  static std::shared_ptr<ZNInboxModel> stored(const char* campaign) {
    return ZNInboxHandler::sharedInstance()->fetchInboxEntryForCampaignID(campaign);
  }

  const std::shared_ptr<zn::Simulator> simulator_ = zn::Simulator::install();
  const std::shared_ptr<Display> display_ = std::make_shared<Display>();
  std::shared_ptr<zn::InboxScreen> screen_;
  Strings failures_;
};

/// A host's delegate that does what a test says.
class Delegate : public ZNInboxCellSelectedDelegate {
 public:
  void inboxCellSelectedWithData(const Value&) override { onData(); }
  void inboxCellSelectedWithPushDict(const Value&) override { ++payloads; }
  std::function<void()> onData;
  int payloads = 0;
};

}  // namespace

TEST_F(InboxScreenTest, MayGoBeforeItsQueuedWorkRuns) {
  const std::weak_ptr<ZNInboxViewController> inbox = screen_->inbox();
  screen_->tapRow(1);
  screen_.reset();
  EXPECT_TRUE(inbox.expired());
  EXPECT_EQ(simulator_->runUntilIdle(), 1u);
  EXPECT_TRUE(stored("b")->isRead());
  EXPECT_TRUE(display_->lines.empty());
}

TEST_F(InboxScreenTest, RedrawsTheRowWhereItIsWhenItsTurnComes) {
  screen_->tapRow(2);
  screen_->tapRow(1);
  screen_->deleteRow(1);
  screen_->deleteRow(0);
  simulator_->runUntilIdle();
  EXPECT_EQ(display_->lines, (Strings{"delete 1 fade", "delete 0 fade", "reload 0 automatic"}));
  EXPECT_EQ(ZNInboxHandler::sharedInstance()->getAllNotificationCount(), 1u);
  EXPECT_EQ(screen_->shown()["rows"].elements()[0]["title"], Value("Title c"));
}

TEST_F(InboxScreenTest, ShowsAMessageAsReadThatTheStoreReplacedMeanwhileButNotItsNewText) {
  // As a synchronisation does: a new entry of the same campaign, here without a title.
  Value replacement = payload("a", 1700000000);
  replacement.setObjectNilHandled(Value::dictionary({{"alert", "Newer"}}), "aps");
  ZNInboxHandler::sharedInstance()->resetInboxDataWithLegacyPayloadArray(
      Value::array({Value::dictionary({{"data", replacement}})}));
  screen_->tapRow(0);
  simulator_->runUntilIdle();
  EXPECT_TRUE(stored("a")->isRead());
  const Value row = screen_->shown()["rows"].elements()[0];
  EXPECT_EQ(row["title"], Value("Title a"));
  EXPECT_EQ(row["font"], Value("AvenirNext-Regular 16"));
}

TEST_F(InboxScreenTest, SurvivesWhatItsDelegateDoes) {
  const auto delegate = std::make_shared<Delegate>();
  screen_->inbox()->setDelegate(delegate);
  delegate->onData = [] { throw zn::Exception("no such order"); };
  screen_->tapRow(0);
  EXPECT_EQ(failures_, Strings{R"({"syslog": "Zintar - Exception : no such order"})"});
  EXPECT_EQ(delegate->payloads, 0);

  delegate->onData = [&] { screen_->deleteRow(0); };
  screen_->tapRow(0);
  EXPECT_EQ(screen_->inbox()->inboxTableView()->indexPathForSelectedRow(), std::nullopt);
  EXPECT_EQ(screen_->inbox()->inboxMessagesArray().size(), 2u);

  delegate->onData = [&] { screen_.reset(); };
  const auto table = screen_->inbox()->inboxTableView();
  table->tapRow(0);
  simulator_->runUntilIdle();
  EXPECT_EQ(delegate->payloads, 2);
  EXPECT_EQ(table->numberOfRows(), 0);
}

TEST_F(InboxScreenTest, HasCellsForRowsInSightOnly) {
  Strings campaigns;
  for (int i = 0; i < 1000; ++i) campaigns.push_back("c" + std::to_string(i));
  fill(campaigns);
  screen_ = zn::InboxScreen::open();
  const auto table = screen_->inbox()->inboxTableView();
  std::set<std::shared_ptr<UITableViewCell>> made;
  for (long first = 0; first < 900; first += 3) {
    const auto cells = table->showRows(first, 8);
    ASSERT_EQ(cells.size(), 8u);
    made.insert(cells.begin(), cells.end());
    EXPECT_EQ(std::static_pointer_cast<ZNInboxTableViewCell>(cells[7])->notificationTitleTextLabel()->text(),
              Value("Title c" + std::to_string(first + 7)));
  }
  EXPECT_EQ(made.size(), 8u);
  EXPECT_EQ(table->showRows(998, 8).size(), 2u);
  EXPECT_EQ(screen_->inbox()->cellForRowAtIndexPath(table, {1000, 0}), nullptr);
}

TEST_F(InboxScreenTest, RefusesABrokenResourceFileByName) {
  const NSBundle bundle = NSBundle::bundleForAddress(reinterpret_cast<const void*>(&zn::newInboxScreen));
  const auto bytes = zn::readFile(bundle.pathForResource("ZNInbox", "storyboard.json"));
  ASSERT_TRUE(bytes);
  const std::string whole(bytes->begin(), bytes->end());
  const zn::test::TemporaryFolder folder;
  const auto failure = [&](const std::string& part, const std::string& other) -> std::string {
    std::string text = whole;
    text.replace(text.find(part), part.size(), other);
    zn::replaceFile(folder / "ZNInbox.storyboard.json", zn::Data(text.begin(), text.end()));
    try {
      zn::newInboxScreen(NSBundle::bundleWithPath(folder.path()));
    } catch (const zn::Exception& refusal) {
      return refusal.reason();
    }
    return "";
  };
  const std::string wrong = failure("\"lines\": 2", "\"lines\": 1e300");
  EXPECT_TRUE(wrong.starts_with(folder / "ZNInbox.storyboard.json: screens.Inbox.view.subviews[0].cells.InboxCell1"));
  EXPECT_TRUE(wrong.ends_with(" needs a number from 0 under \"lines\"")) << wrong;
  for (const char* part : {"\"ZNInboxViewController\"", "\"table\"", "\"#FFFFFF\"", "\"colors\""}) {
    EXPECT_NE(failure(part, "\"other\""), "") << part;
  }
  EXPECT_THROW(zn::newInboxScreen(NSBundle::bundleWithPath(folder / "nowhere")), zn::Exception);
}
