// Synchronises an inbox again and again until it is killed, or once: `inbox_synchroniser HOME [once]`. After each
// synchronisation it removes the entries whose number is a multiple of three; when such a removal is on disk, the
// number goes to standard output. 0 says that the first synchronisation is about to start.

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNPlatform/HeadlessDevice.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {

class NoServer final : public ZNNetworkTransport {
 public:
  void execute(const ZNNetworkRequest&, std::function<void(zn::Value)> completion) override {
    zn::dispatchAsync(zn::Queue::main, [completion] { completion(zn::nil); });
  }
};

bool report(std::int64_t number) { return write(STDOUT_FILENO, &number, sizeof number) == sizeof number; }

bool removeThirds(ZNInboxHandler& inbox) {
  const zn::InboxListPtr list = inbox.getAllNotificationModelObjs();
  for (const auto& entry : *list) {
    const std::int64_t number = entry->zintarDict()["number"].integer();
    if (number == 0 || number % 3 != 0 || entry->campaignID() == "shared") continue;
    inbox.removeNotificationForCampaignID(entry->campaignID());
    if (!report(number)) return false;
  }
  return true;
}

}  // namespace

int main(int count, char** argv) {
  zn::HeadlessDevice::Options options;
  options.home = argv[1];
  options.mainQueue = zn::HeadlessDevice::MainQueue::pumped;
  const auto device = std::make_shared<zn::HeadlessDevice>(options);
  zn::Device::install(device);
  ZNConfigDataManager::sharedInstance()->apply(zn::Value::dictionary({{"accountActive", true},
                                                                      {"inboxServiceActive", true},
                                                                      {"appID", "app-1"},
                                                                      {"appGroupID", "group.test"},
                                                                      {"queryParams", zn::Value::dictionary()}}));
  ZNNetworkRequest::setTransport(std::make_shared<NoServer>());
  const auto inbox = std::make_shared<ZNInboxHandler>();
  if (!report(0)) return EXIT_FAILURE;
  do {
    inbox->syncInboxNotificationsWithCompletionHandler(nullptr);
    device->runPending();
    if (inbox->syncInProgress() || !removeThirds(*inbox)) return EXIT_FAILURE;
  } while (count == 2);
  return EXIT_SUCCESS;
}
