// What saves put into the inbox file, one after the other, and what is read of it.

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "Tests/Support/EntryProperties.h"
#include "Tests/Support/EveryKindOfEntry.h"
#include "Tests/Support/Threads.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggers.h"
#include "ZNPlatform/Foundation/File.h"

namespace {

using zn::Data;
using zn::Value;
using zn::test::json;
using zn::test::kEntryProperties;
using Entry = std::shared_ptr<ZNInboxModel>;

/// Contents, types and mutability, at every level.
std::string described(const Value& value) {
  std::string text = (value.isMutable() ? "mutable " : "") + std::to_string(static_cast<int>(value.type())) + " ";
  for (const Value& each : value.elements()) text += described(each);
  for (const auto& [key, each] : value.entries()) text += described(key) + described(each);
  return text + zn::jsonText(value) + "\n";
}
std::string described(const ZNInboxModel& entry) {
  std::string text = std::string(entry.isRead() ? "read" : "unread") + (entry.hasPayload() ? ", payload\n" : "\n");
  for (const auto& property : kEntryProperties) text += described((entry.*property.first)());
  return text;
}
std::vector<std::string> described(const ZNInboxData& inbox) {
  std::vector<std::string> all{described(inbox.lastUpdatedFromServerSync())};
  for (const Entry& entry : *inbox.inboxMessages()) all.push_back(described(*entry));
  return all;
}

/// An inbox and its file: of one process after the other, as ZNInboxHandler keeps them.
class InboxFile : public testing::Test {
 protected:
  void hold(zn::InboxList entries) {
    inbox->setInboxMessages(std::make_shared<const zn::InboxList>(std::move(entries)));
  }
  const Data& save() { return save(*inbox); }
  const Data& save(const zn::Coding& root) {
    zn::NSKeyedArchiver archiver(kept);
    const auto bytes = archiver.archiveRootObject(root);
    return file = {bytes.begin(), bytes.end()};
  }
  /// False where the file is none to leave fields in for later.
  bool relaunch() {
    auto read = zn::NSKeyedUnarchiver::unarchiveObjectWithData(file, ZNInboxData::archivedClasses());
    EXPECT_FALSE(read.damaged) << read.error;
    inbox = std::dynamic_pointer_cast<ZNInboxData>(read.root);
    kept = read.encoded;
    return kept != nullptr;
  }
  std::vector<std::string> saved() const {
    const auto read = zn::NSKeyedUnarchiver::unarchiveObjectWithData(file, ZNInboxData::archivedClasses());
    EXPECT_FALSE(read.damaged) << read.error;
    return described(*std::dynamic_pointer_cast<ZNInboxData>(read.root));
  }
  std::size_t fresh() const { return zn::NSKeyedArchiver::archivedDataWithRootObject(*inbox).size(); }
  bool holds(std::string_view text) const {
    return std::search(file.begin(), file.end(), text.begin(), text.end()) != file.end();
  }
  static Entry titled(const char* campaign, const Value& title, const Value& payload = Value::dictionary()) {
    auto entry = std::make_shared<ZNInboxModel>();
    entry->setCampaignID(campaign);
    entry->setNotificationTitle(title);
    entry->setNotificationPayloadDict(payload);
    return entry;
  }
  Entry at(std::size_t i) const { return inbox->inboxMessages()->at(i); }

  zn::test::TestDevice device;
  std::shared_ptr<ZNInboxData> inbox = std::make_shared<ZNInboxData>();
  std::shared_ptr<zn::EncodedRecords> kept;
  Data file;
};

TEST_F(InboxFile, OfVersionOneIsReadWhollyAndSavedAsTheSame) {
  file = zn::readFile(ZN_INBOX_OF_1_0).value();
  const std::size_t size = file.size();
  const auto expected = described(*zn::test::everyKindOfEntry());
  relaunch();
  EXPECT_EQ(at(0)->notificationTitle(), "Grüße \U0001F600");
  EXPECT_EQ(at(1)->clickedDate(), zn::Date{1700000100.25});
  EXPECT_EQ(at(3)->notificationPayloadDict()["integers"].elements().back(), INT64_MIN);
  EXPECT_EQ(described(*inbox), expected);
  EXPECT_EQ(save().size(), size);
  EXPECT_TRUE(relaunch());
  EXPECT_EQ(described(*inbox), expected);
}

TEST_F(InboxFile, WhatIsRemovedOrReplacedIsNotInTheFileOfTheNextSave) {
  for (const bool wasRead : {false, true}) {
    kept = nullptr;
    const Value both = Value::array({"of both", "second's payload"});
    hold({titled("c1", "first title", Value::dictionary({{"in", Value::array({"of both"})}})),
          titled("c2", "second title", Value::dictionary({{"in", both}, {"second's key", 2}})), titled("c3", "third")});
    save();
    if (wasRead) {
      ASSERT_TRUE(relaunch());
    }
    for (const char* text : {"first title", "second title", "second's payload", "second's key", "of both"})
      EXPECT_TRUE(holds(text)) << text;
    hold({at(0), at(2)});
    save();
    for (const char* gone : {"second title", "second's payload", "second's key", "c2"})
      EXPECT_FALSE(holds(gone)) << gone;
    EXPECT_TRUE(holds("of both") && holds("first title"));
    at(0)->setNotificationTitle("another title");
    hold({at(0), at(1), titled("c4", "fourth title", Value::dictionary({{"in", both}}))});
    save();
    EXPECT_TRUE(!holds("first title") && holds("another title") && holds("second's payload") && holds("third"));
    EXPECT_EQ(file.size(), fresh());
    EXPECT_EQ(saved(), described(*inbox));
    hold({});
    save();
    for (const char* gone : {"another title", "of both", "fourth", "ZNInboxModel"}) EXPECT_FALSE(holds(gone)) << gone;
    EXPECT_EQ(file.size(), fresh());
  }
}

TEST_F(InboxFile, AChangeOfAnyPropertyOfAnEntryThatWasReadIsSaved) {
  inbox = zn::test::everyKindOfEntry();
  save();
  ASSERT_TRUE(relaunch());
  for (std::size_t i = 0; i < std::size(kEntryProperties); ++i) {
    const bool isDate = i >= std::size(kEntryProperties) - 3;
    for (const std::size_t place : {0u, 2u, 3u}) {
      const Value changed = isDate ? Value(zn::Date{static_cast<double>(i)})
                                   : Value::dictionary({{"changed", static_cast<std::int64_t>(i)}});
      (at(place).get()->*kEntryProperties[i].second)(changed);
      save();
      EXPECT_EQ(saved(), described(*inbox)) << "property " << i << " of entry " << place;
    }
    ASSERT_TRUE(relaunch());
  }
  at(4)->setIsRead(false);
  inbox->setLastUpdatedFromServerSync(zn::Date{5});
  save();
  EXPECT_EQ(saved(), described(*inbox));
  EXPECT_TRUE(at(0)->markClickedIfUnread());
  save();
  EXPECT_EQ(saved(), described(*inbox));
}

TEST_F(InboxFile, EntriesAreReadForTheFirstTimeOnManyThreadsWhileTheyAreSaved) {
  zn::InboxList many;
  for (int i = 0; i < 40; ++i) {
    many.push_back(ZNInboxModel::initWithNotificationPayload(zn::test::realisticPayload("c" + std::to_string(i), 1e9)));
  }
  hold(std::move(many));
  const auto expected = described(*inbox);
  save();
  for (int round = 0; round < 5; ++round) {
    ASSERT_TRUE(relaunch());
    zn::test::onThreads(4, [&](int thread) {
      if (thread == 0) {
        for (std::size_t i = 0; i < 40; i += 4) {
          at(i)->setIsRead(false);
          save();
        }
      } else {
        EXPECT_EQ(described(*inbox), expected);
      }
    });
    EXPECT_EQ(saved(), expected);
  }
}

TEST_F(InboxFile, AContainerOfTwoEntriesIsStoredOnceAlsoWhenOneOfThemHasChanged) {
  const Value common = json(R"({"shop": ["a text that is long enough to be seen", {"deep": [1, 2, 3]}]})");
  hold({titled("c1", "one", common), titled("c2", "two", common), titled("c3", "three"), titled("c4", "four", common)});
  for (const std::size_t changed : {0u, 1u, 2u, 3u}) {
    save();
    EXPECT_EQ(file.size(), fresh());
    EXPECT_EQ(saved(), described(*inbox));
    at(changed)->setNotificationTitle("changed");
  }
  hold({at(1), at(3)});  // without the one that it was stored with
  EXPECT_EQ(save().size(), fresh());
  hold({at(1), at(1), at(0)});
  EXPECT_EQ(save().size(), fresh());
  EXPECT_EQ(saved(), described(*inbox));
}

/// Encodes all, and then fails.
struct Failing final : zn::Coding {
  explicit Failing(const zn::Coding& all) : whole(all) {}
  const char* archivedClassName() const override { return whole.archivedClassName(); }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override {
    whole.encodeWithCoder(coder);
    throw std::runtime_error("no more");
  }
  const zn::Coding& whole;
};

TEST_F(InboxFile, ASaveAfterOneThatFailedIsWhole) {
  inbox = zn::test::everyKindOfEntry();
  save();
  ASSERT_TRUE(relaunch());
  hold({at(0), at(1), at(2), at(3), titled("new", "one more")});
  at(1)->setNotificationTitle("changed");
  EXPECT_THROW(save(Failing(*inbox)), std::runtime_error);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(save().size(), fresh());
    EXPECT_EQ(saved(), described(*inbox));
  }
}

TEST_F(InboxFile, CampaignsThatShareAPayloadStayTwoWhenItChanges) {
  const auto triggers = ZNDeviceTriggers::init();
  const auto one = ZNDeviceTriggerCampaign::initWithDictionary(json(R"({"campaign_id": "1", "payload": {"a": 1}})"));
  const auto two = ZNDeviceTriggerCampaign::initWithDictionary(json(R"({"campaign_id": "2"})"));
  two->setPayload(one->payload());
  triggers->setDeviceTriggers(std::make_shared<const zn::CampaignList>(zn::CampaignList{one, two}));
  for (const char* title : {"before", "after"}) {
    one->payload()->setAlertTitle(title);
    save(*triggers);
    const auto read = zn::NSKeyedUnarchiver::unarchiveObjectWithData(file, ZNDeviceTriggers::archivedClasses());
    const auto campaigns = std::dynamic_pointer_cast<ZNDeviceTriggers>(read.root)->deviceTriggers();
    EXPECT_EQ(campaigns->at(0)->campaignID(), "1");
    EXPECT_EQ(campaigns->at(1)->campaignID(), "2");
    EXPECT_EQ(campaigns->at(0)->payload()->alertTitle(), title);
    EXPECT_EQ(campaigns->at(0)->payload(), campaigns->at(1)->payload());
  }
}

}  // namespace
