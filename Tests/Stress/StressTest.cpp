#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <thread>

#include "Tests/Support/StressScale.h"
#include "Tests/Support/TestDevice.h"
#include "Tests/Support/Threads.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/NotificationRecorder.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {

using zn::Value;
using zn::test::TestDevice;

int rounds(int full) { return zn::test::scaled(full, 10); }

UNNotificationResponse click(const std::string& campaign, const char* action) {
  UNNotificationResponse response;
  response.notification.request.content.userInfo = zn::test::realisticPayload(campaign);
  response.actionIdentifier = action;
  return response;
}

/// Calls one public operation, chosen at random.
void anyOperation(std::mt19937& random) {
  const auto& facade = ZNMessaging::sharedInstance();
  const auto& store = ZNInboxHandler::sharedInstance();
  const auto center = UNUserNotificationCenter::currentNotificationCenter();
  const std::string campaign = "c" + std::to_string(random() % 20);
  const auto application = UIApplication::sharedApplication();
  const auto post = [](const char* name) { NSNotificationCenter::defaultCenter()->postNotificationName(name); };
  const std::function<void()> operations[] = {
      [&] { facade->initializeMessagingWithLaunchOptions(zn::nil); },
      [&] { facade->didReceiveNotificationResponse(center, click(campaign, UNNotificationDefaultActionIdentifier)); },
      [&] { facade->didReceiveNotificationResponse(center, click(campaign, UNNotificationDismissActionIdentifier)); },
      [&] { facade->didReceieveNotificationinApplication(application, zn::test::realisticPayload(campaign)); },
      [&] { store->markInboxNotificationReadForCampaignID(campaign); },
      [&] { store->trackInboxNotificationClickForCampaignID(campaign); },
      [&] { store->removeNotificationForCampaignID(campaign); },
      [&] { store->getAllNotificationPayloads(); },
      [&] { store->getUnreadNotifictionCount(); },
      [&] { store->removeExpiredInboxMessages(); },
      [&] { store->updateInboxStorage(); },
      [&] { post(kNotificationNameUpdateModules); },
      [&] { random() % 20 == 0 ? post(kNotificationNameUserReset) : void(); },
      [&] { facade->setMessagingDelegate(std::make_shared<ZNMessagingDelegate>()); },
      [&] { facade->setDisableInbox(random() % 10 == 0); },
      [&] { store->setSyncInProgress(random() % 10 == 0); },
      [&] {
        center->setDelegate(random() % 2 ? facade : nullptr);
        const auto entries = store->getAllNotificationModelObjs();  // holds the list while it is walked
        for (const auto& entry : *entries) {
          (void)entry->getLegacyInboxPayload();
          entry->setCampaignID(entry->campaignID());  // what a merge on another thread compares
        }
      }};
  operations[random() % std::size(operations)]();
}

/// Answers at once, on the global queue: campaigns for a synchronisation, a yes for a segment check.
class EagerServer : public ZNNetworkTransport {
 public:
  void execute(const ZNNetworkRequest& request, std::function<void(Value)> completion) override {
    const bool isSync = request.service() == ZNService::triggerSync;
    zn::dispatchAsync(zn::Queue::global, [isSync, completion = std::move(completion)] {
      completion(zn::test::json(
          isSync ? R"({"min_delay_across_campaigns": 0, "campaigns": [{"campaign_id": "trigger", "status": "active",
                       "trigger_event_name": "E", "expiry": 4070908800000, "max_times": -9090909}]})"
                 : R"({"user_in_segment": true, "show_notification": true,
                       "payload": {"aps": {"alert": "Hi"}, "zintar": {"cid": "trigger"}}})"));
    });
  }
};

TEST(Stress, AnyPublicOperationAtOnceFromManyThreads) {
  TestDevice device(zn::HeadlessDevice::MainQueue::ownThread);
  ZNConfigDataManager::sharedInstance()->apply(Value::dictionary({{"queryParams", Value::dictionary()}}));
  ZNNetworkRequest::setTransport(std::make_shared<EagerServer>());
  zn::test::onThreads(4, [](int thread) {
    std::mt19937 random(static_cast<unsigned>(thread));
    for (int n = rounds(800); n > 0; --n) anyOperation(random);
  });
  device.device().shutDown();  // what is still queued, delayed clicks among it, would change the inbox under the test
  EXPECT_TRUE(device.failures().empty()) << device.failures()[0].operation << ": " << device.failures()[0].text;
  ASSERT_TRUE(ZNInboxHandler::sharedInstance()->updateInboxStorage());
  EXPECT_EQ(std::make_shared<ZNInboxHandler>()->getAllNotificationPayloads(),
            ZNInboxHandler::sharedInstance()->getAllNotificationPayloads());
}

TEST(Stress, AClickIsOnDiskWhereverASynchronisationBeginsOrEnds) {
  const TestDevice device;  // whose main queue nobody runs: clicks that wait do so to the end
  const auto inbox = std::make_shared<ZNInboxHandler>();
  std::atomic<bool> isDone{false};
  std::thread synchronising([&] {
    for (bool inProgress = false; !isDone; inProgress = !inProgress) inbox->setSyncInProgress(inProgress);
  });
  const auto clicks = static_cast<std::size_t>(rounds(1000));
  for (std::size_t each = 0; each < clicks; ++each) {
    inbox->updateClickedNotificationInStorageWithPayload(zn::test::realisticPayload(std::to_string(each)));
  }
  isDone = true;
  synchronising.join();
  std::size_t waiting = 0;
  for (const auto& file : std::filesystem::directory_iterator(device.home() + "/Library/ZNInbox/Pending")) {
    waiting += file.path().filename() != "Saved.plist";
  }
  EXPECT_EQ(inbox->getAllNotificationCount() + waiting, clicks);
}

TEST(Stress, EverySuccessfulPostingIsCountedWhileSynchronisationsRun) {
  TestDevice device(zn::HeadlessDevice::MainQueue::ownThread, std::make_unique<zn::NotificationRecorder>());
  auto& recorder = static_cast<zn::NotificationRecorder&>(*device.device().notifications);
  ZNConfigDataManager::sharedInstance()->apply(
      Value::dictionary({{"realTimeTriggersEnabled", true}, {"queryParams", Value::dictionary()}}));
  ZNNetworkRequest::setTransport(std::make_shared<EagerServer>());
  const auto& engine = ZNDeviceTriggersHandler::sharedInstance();
  const auto& store = ZNDeviceTriggersDataManager::sharedInstance();
  engine->syncDeviceTriggersWithCompletionBlock(nullptr);
  device.device().waitUntilIdle();
  zn::test::onThreads(3, [&](int thread) {
    for (int n = rounds(200); n > 0; --n) {
      if (thread == 0) {
        engine->syncDeviceTriggersWithCompletionBlock(nullptr);
        const auto campaigns = store->activeDeviceTriggers()->deviceTriggers();
        for (const auto& campaign : *campaigns) campaign->setTriggerEvent("E");
      } else {
        engine->checkDeviceTriggerForEvent("E", Value::dictionary());
      }
    }
  });
  device.device().waitUntilIdle();
  const auto status = store->activeDeviceTriggers()->statusForCampaign("trigger");
  ASSERT_TRUE(status);
  EXPECT_EQ(status->numberOfTimesShown(), recorder.requests().size()) << "no showing is lost";
  EXPECT_TRUE(device.failures().empty());
}

}  // namespace
