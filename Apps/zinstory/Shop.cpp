#include "Apps/zinstory/Shop.h"

#include <stdlib.h>

#include <chrono>

#include "Apps/zinstory/CampaignServer.h"
#include "Apps/zinstory/ShopInbox.h"
#include "Apps/zinstory/Triggers.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace zinstory {

namespace {

using zn::Value;
using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{30};

void configure(const std::string& address) {
  const Value endpoints =
      Value::dictionary({{"1", "/v1/events"}, {"7", "/v1/inbox"}, {"9", "/v1/triggers"}, {"10", "/v1/segments"}});
  ZNConfigDataManager::sharedInstance()->apply(Value::dictionary(
      {{"accountActive", true},
       {"inboxServiceActive", true},
       {"realTimeTriggersEnabled", true},
       {"appID", kShopID},
       {"appGroupID", kShopGroup},
       {"queryParams", Value::dictionary({{"app", kShopID}})},
       {"server", Value::dictionary(
                      {{"address", address}, {"endpoints", endpoints}, {"connectTimeout", 10}, {"timeout", 20}})}}));
}

}  // namespace

Shop::Shop(Page& page, const std::string& home, const std::string& server) : page_(page) {
  zn::HeadlessDevice::Options options;
  options.home = home;
  options.mainQueue = zn::HeadlessDevice::MainQueue::pumped;
  device_ = std::make_shared<zn::HeadlessDevice>(options);
  auto recorder = std::make_unique<zn::NotificationRecorder>();
  recorder_ = recorder.get();
  device_->notifications = std::move(recorder);
  zn::Device::install(device_);
  configure(server);
}

void Shop::await(const char* what, const std::function<bool()>& isDone) {
  const auto end = SteadyClock::now() + kPatience;
  while (!isDone()) {
    if (SteadyClock::now() > end) throw zn::Exception(zn::format("waited in vain for %@", what));
    device_->runFor(0.02);
  }
}

void Shop::settle() { device_->waitUntilIdle(); }

void Shop::start() {
  ZNMessaging::sharedInstance()->initializeMessagingWithLaunchOptions(zn::nil);
  await("the campaigns of the server", [] {
    return !ZNDeviceTriggersDataManager::sharedInstance()->activeDeviceTriggers()->fields().campaigns().empty();
  });
  await("the inbox of the server", [] { return !ZNInboxHandler::sharedInstance()->syncInProgress(); });
}

void tellShop(Page& page, const std::string& home, const std::string& campaignFolder) {
  ::setenv("no_proxy", "127.0.0.1", 1);   // the server is on this machine, whatever the environment says
  CampaignServer server(campaignFolder);  // before the device, which has threads
  page.heading("A shop with a real clock, and a server on this machine");
  leaveMessages(page, home);
  Shop shop(page, home, server.address());
  tellInbox(shop);
  tellTriggers(shop, [&] { server.stop(); });
}

}  // namespace zinstory
