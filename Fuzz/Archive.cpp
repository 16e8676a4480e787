// Bytes that somebody else wrote, read as a keyed archive: of the inbox, of device triggers, and of a record with
// fields of every kind. What was read is used, and can be written and read again.

#include "Fuzz/FuzzDevice.h"
#include "Tests/Support/Note.h"
#include "ZNAnalytics/TrackedEvent.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

template <class Record>
std::shared_ptr<Record> readAs(Bytes bytes, std::span<const zn::ArchivedClass> classes) {
  const auto record =
      std::dynamic_pointer_cast<Record>(zn::NSKeyedUnarchiver::unarchiveObjectWithData(bytes, classes).root);
  if (record) zn::fuzz::checkRoundTrip(*record, classes);
  return record;
}

void useInbox(const std::shared_ptr<ZNInboxData>& data) {
  const auto& store = ZNInboxHandler::sharedInstance();
  store->setInboxData(data);
  store->removeExpiredInboxMessages();
  store->getSortedInboxArray(store->getAllNotificationModelObjs());
  store->setInboxData(nullptr);
}

void useTriggers(const std::shared_ptr<ZNDeviceTriggers>& triggers) {
  const auto& store = ZNDeviceTriggersDataManager::sharedInstance();
  store->setActiveDeviceTriggers(triggers);
  const auto all = triggers->fields();
  const zn::Value event = all.campaigns().empty() ? zn::nil : all.campaigns().front()->triggerEvent();
  const zn::Value attributes = zn::trackedDictionary(zn::Value::dictionary({{"price", 60}, {"category", "boots"}}));
  store->getCampaignsForEvent(event, attributes);
  store->updateStatusEntriesForCampaigns(all.campaigns());
  if (event.isString()) {
    ZNDeviceTriggersHandler::sharedInstance()->explainEvent(event, attributes, [](const zn::Value&) {});
    zn::fuzz::device().runUntilIdle();
  }
  store->setActiveDeviceTriggers(nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  zn::fuzz::device();
  const Bytes bytes(data, size);
  readAs<zn::test::Note>(bytes, zn::test::Note::classes());
  if (const auto inbox = readAs<ZNInboxData>(bytes, ZNInboxData::archivedClasses())) useInbox(inbox);
  if (const auto triggers = readAs<ZNDeviceTriggers>(bytes, ZNDeviceTriggers::archivedClasses())) useTriggers(triggers);
  return 0;
}
