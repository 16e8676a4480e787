// Bytes that somebody else wrote, read as a keyed archive: of the inbox, of device triggers, and of a record with
// fields of every kind. What was read is used, and can be written and read again. What the quick reader takes is intact
// and the same for the thorough one.

#include "Fuzz/SameRecords.h"
#include "ZNAnalytics/TrackedEvent.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/Foundation/ArchiveReaders_p.h"

namespace {

using Bytes = std::span<const std::uint8_t>;
using zn::fuzz::require;

void change(ZNInboxData& inbox) {
  const auto entries = inbox.inboxMessages();
  if (entries && !entries->empty()) entries->back()->setNotificationTitle("another title");
}
void change(ZNDeviceTriggers& triggers) {
  const auto campaigns = triggers.deviceTriggers();
  if (campaigns && !campaigns->empty()) campaigns->back()->setStatus("another status");
}
void change(zn::test::Note& note) { note.text = "another text"; }

/// What it takes is archived three ways: as it was encoded in the file, anew, and as the other reader's.
template <class Record>
void compareReaders(Bytes bytes, std::span<const zn::ArchivedClass> classes) {
  zn::NSKeyedUnarchiver::Result quick;
  if (!zn::ArchiveReaders::readEncoded(bytes, classes, quick)) return;
  const auto thorough = zn::ArchiveReaders::readThoroughly(bytes, classes);
  const auto a = std::dynamic_pointer_cast<Record>(quick.root), b = std::dynamic_pointer_cast<Record>(thorough.root);
  require(!thorough.damaged && quick.root && thorough.root && !a == !b && quick.encoded);
  if (!a) return;
  const auto reread = [&](Bytes archive) {
    const auto again = zn::ArchiveReaders::readThoroughly(archive, classes);
    require(!again.damaged);
    return std::dynamic_pointer_cast<Record>(again.root);
  };
  const auto kept = reread(zn::NSKeyedArchiver(quick.encoded).archiveRootObject(*a));
  const auto same = [&](const std::shared_ptr<Record>& each) { return each && zn::fuzz::isSame(*each, *b); };
  require(same(kept) && same(a));
  require(same(reread(zn::NSKeyedArchiver::archivedDataWithRootObject(*a))));
  require(same(reread(zn::NSKeyedArchiver::archivedDataWithRootObject(*b))));
  change(*a);
  const auto changed = reread(zn::NSKeyedArchiver(quick.encoded).archiveRootObject(*a));
  require(changed && zn::fuzz::isSame(*changed, *a));
}

/// Few changes of a file leave it one that is written so, byte for byte: what the file means, written so, is another
/// input.
template <class Record>
void compareReadersOfAll(Bytes bytes, std::span<const zn::ArchivedClass> classes) {
  compareReaders<Record>(bytes, classes);
  const zn::Data rewritten = zn::ArchiveReaders::rewritten(bytes);
  if (!std::ranges::equal(bytes, rewritten)) compareReaders<Record>(rewritten, classes);
}

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
  compareReadersOfAll<zn::test::Note>(bytes, zn::test::Note::classes());
  compareReadersOfAll<ZNInboxData>(bytes, ZNInboxData::archivedClasses());
  compareReadersOfAll<ZNDeviceTriggers>(bytes, ZNDeviceTriggers::archivedClasses());
  readAs<zn::test::Note>(bytes, zn::test::Note::classes());
  if (const auto inbox = readAs<ZNInboxData>(bytes, ZNInboxData::archivedClasses())) useInbox(inbox);
  if (const auto triggers = readAs<ZNDeviceTriggers>(bytes, ZNDeviceTriggers::archivedClasses())) useTriggers(triggers);
  return 0;
}
