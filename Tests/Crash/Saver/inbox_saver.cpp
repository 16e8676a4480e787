// Saves an inbox again and again until it is killed: `inbox_saver HOME`. Each generation changes every entry; when it
// is on disk, its number goes to standard output.

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNPlatform/HeadlessDevice.h"

int main(int, char** argv) {
  zn::HeadlessDevice::Options options;
  options.home = argv[1];
  options.mainQueue = zn::HeadlessDevice::MainQueue::pumped;
  zn::Device::install(std::make_shared<zn::HeadlessDevice>(options));
  const auto store = std::make_shared<ZNInboxHandler>();
  std::int64_t generation = 0;
  if (store->getAllNotificationCount() > 0) {
    generation = store->getAllNotificationPayloads().elements()[0].validObjectForKeyPath("zintar.generation").integer();
  }
  for (;;) {
    ++generation;
    auto list = std::make_shared<zn::InboxList>();
    for (int i = 0; i < 200; ++i) {
      zn::Value payload = zn::test::realisticPayload("campaign-" + std::to_string(i), 1600000000 + i);
      zn::Value zintar = payload["zintar"];
      zintar.setObjectNilHandled(generation, "generation");
      payload.setObjectNilHandled(zintar, "zintar");
      list->push_back(ZNInboxModel::initWithNotificationPayload(payload));
    }
    store->inboxData()->setInboxMessages(list);
    if (!store->updateInboxStorage()) return EXIT_FAILURE;
    if (write(STDOUT_FILENO, &generation, sizeof generation) != sizeof generation) return EXIT_FAILURE;
  }
}
