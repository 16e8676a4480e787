// What a host hands over by mistake: completions that throw, null and wrong-typed arguments. Nothing of it may reach
// the host again, or end the process.

#include <gtest/gtest.h>

#include <set>

#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/ZNInbox/ZNInbox.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/NotificationRecorder.h"

namespace {

using zn::Value;
using zn::test::TestDevice;

struct ThrowingDelegate : ZNMessagingDelegate {
  void notificationClickedWithScreenName(const Value&, const Value&) override { throw zn::Exception("the host's own"); }
};

TEST(Guards, WhatTheHostThrowsIsLoggedForItsOperationAndGoesNoFurther) {
  TestDevice device;
  ZNConfigDataManager::sharedInstance()->apply(Value::dictionary({{"inboxServiceActive", false}, {"appID", ""}}));
  const auto& facade = ZNMessaging::sharedInstance();
  const auto& inbox = ZNInboxHandler::sharedInstance();
  int calls = 0;
  const auto throwing = [&calls](const auto&...) {
    ++calls;
    throw zn::Exception("the host's own");
  };
  facade->syncRealTimeTriggersWithCompletionBlock(throwing);
  facade->didReceiveNotificationResponse(nullptr, {}, throwing);
  facade->willPresentNotification(nullptr, {}, throwing);
  ZNInbox::getInboxMessagesWithCompletionBlock(throwing);
  ZNInbox::fetchInboxMessagesWithCompletion(throwing);
  inbox->syncInboxNotificationsWithCompletionHandler(throwing);
  inbox->syncNotificationFromOlderPlist(throwing);
  inbox->syncNotificationsFromExtension(throwing);
  inbox->syncNotificationsFromServer(throwing);
  inbox->syncInboxFromServerRequestWithCompletionBlock(throwing);
  const auto delegate = std::make_shared<ThrowingDelegate>();
  facade->setMessagingDelegate(delegate);
  ZNNotificationHandler::sharedInstance()->invokeCallbackWithScreenName("S", zn::nil, zn::nil);

  EXPECT_EQ(calls, 10) << "each once";
  std::set<std::string> operations;
  for (const auto& failure : device.failures()) {
    EXPECT_NE(failure.text.find("the host's own"), std::string::npos) << failure.text;
    operations.insert(failure.operation);
  }
  EXPECT_EQ(operations.size(), 11u) << "each says who threw";
}

TEST(Guards, TheInboxTakesNullForNothingAndRefusesWhatIsNoList) {
  TestDevice device;
  const auto inbox = std::make_shared<ZNInboxHandler>();
  inbox->setInboxData(nullptr);
  EXPECT_TRUE(inbox->getAllNotificationModelObjs()->empty());
  inbox->updateClickedNotificationInStorageWithPayload(zn::test::realisticPayload("c1"));
  EXPECT_EQ(inbox->getAllNotificationCount(), 1u);
  inbox->resetInboxDataWithLegacyPayloadArray(Value::dictionary({{"messagesInfo", Value::array()}}));
  EXPECT_EQ(inbox->getAllNotificationCount(), 1u);
  EXPECT_EQ(device.failures().size(), 1u);

  EXPECT_EQ(inbox->getInboxArrayPostDuplicationCheckWithNewEntries({nullptr})->size(), 1u);
  EXPECT_EQ(inbox->getInboxArrayPostDuplicationCheckWithServerEntries({nullptr})->size(), 1u);
  EXPECT_TRUE(inbox->getSortedInboxArray(nullptr)->empty());
  inbox->inboxData()->setInboxMessages(std::make_shared<const zn::InboxList>(zn::InboxList{nullptr}));
  EXPECT_EQ(inbox->getAllNotificationPayloads(), Value::array());
  inbox->inboxData()->setInboxMessages(nullptr);
  EXPECT_TRUE(inbox->getAllNotificationModelObjs()->empty());

  // Nobody could keep it alive until the server answers.
  ZNInboxHandler onTheStack;
  int refusals = 0;
  onTheStack.syncInboxNotificationsWithCompletionHandler([&](bool success) { refusals += success ? 0 : 1; });
  onTheStack.syncNotificationsFromServer([&](bool success) { refusals += success ? 0 : 1; });
  EXPECT_EQ(refusals, 2);
  EXPECT_FALSE(onTheStack.syncInProgress());
}

TEST(Guards, DeviceTriggersTakeNullForNothingAndOddCampaignsForFailures) {
  TestDevice device(zn::HeadlessDevice::MainQueue::pumped, std::make_unique<zn::NotificationRecorder>());
  const auto& store = ZNDeviceTriggersDataManager::sharedInstance();
  const auto& engine = ZNDeviceTriggersHandler::sharedInstance();
  store->setActiveDeviceTriggers(nullptr);
  EXPECT_EQ(store->getDeviceTriggerLastUpdatedTime(), Value(0));
  engine->checkUserInSegmentForDTCampaign(nullptr, Value::dictionary());
  engine->postDeviceTriggerCampaign(nullptr, true);
  engine->processDeviceTriggerWithInfo({});
  engine->postDeviceTriggerWithRequest({}, {});
  EXPECT_TRUE(store->removeExpiredCampaign({nullptr}, 0).empty());
  EXPECT_EQ(store->sortCampaignByLastUpdatedTime({nullptr}), nullptr);
  EXPECT_EQ(store->getTriggerEvents({nullptr}), Value::array());
  store->updateStatusEntriesForCampaigns({nullptr});
  store->activeDeviceTriggers()->update([](ZNDeviceTriggers::Fields& fields) {
    fields.deviceTriggers = std::make_shared<const zn::CampaignList>(zn::CampaignList{nullptr});
    fields.deviceTriggerStatus = std::make_shared<const zn::StatusList>(zn::StatusList{nullptr});
  });
  EXPECT_EQ(engine->getExistingCampaignList(), Value::array());
  store->saveDeviceTriggerCampaigns(Value::array(), true);
  EXPECT_TRUE(device.failures().empty());
}

}  // namespace
