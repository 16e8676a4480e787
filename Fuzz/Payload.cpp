// A payload that goes through receipt, click, dismissal and the inbox, and is read back from the archive.

#include "Fuzz/FuzzDevice.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNPlatform/Foundation/Json.h"

namespace {

UNNotificationResponse response(const zn::Value& payload, const char* action) {
  UNNotificationResponse made;
  made.notification.request.content.userInfo = payload;
  made.actionIdentifier = action;
  return made;
}

/// What would be saved can be read again, entry by entry.
void checkInbox() {
  const auto& store = ZNInboxHandler::sharedInstance();
  const auto list = store->getAllNotificationModelObjs();
  const zn::Data archive = zn::NSKeyedArchiver::archivedDataWithRootObject(*store->inboxData());
  const auto read = zn::NSKeyedUnarchiver::unarchiveObjectWithData(archive, ZNInboxData::archivedClasses());
  const auto data = std::dynamic_pointer_cast<ZNInboxData>(read.root);
  zn::fuzz::require(!read.damaged && data && data->inboxMessages()->size() == list->size());
  for (std::size_t i = 0; i < list->size(); ++i) {
    zn::fuzz::require((*list)[i]->notificationPayloadDict() == (*data->inboxMessages())[i]->notificationPayloadDict());
  }
  store->setInboxData(nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  zn::fuzz::device();
  const auto payload = zn::parseJson(zn::fuzz::textOf({bytes, size}));
  if (!payload) return 0;
  zn::fuzz::require(zn::parseJson(zn::jsonText(*payload)) == payload);
  const auto& facade = ZNMessaging::sharedInstance();
  const auto center = UNUserNotificationCenter::currentNotificationCenter();
  facade->didReceieveNotificationinApplication(UIApplication::sharedApplication(), *payload);
  for (const char* action : {UNNotificationDefaultActionIdentifier, UNNotificationDismissActionIdentifier, "BUTTON"}) {
    facade->didReceiveNotificationResponse(center, response(*payload, action));
  }
  const auto& store = ZNInboxHandler::sharedInstance();
  store->updateClickedNotificationInStorageWithPayload(*payload);
  store->trackInboxNotificationClickForCampaignID(payload->validObjectForKeyPath("zintar.cid"));
  zn::fuzz::device().runUntilIdle();
  const auto entry = ZNInboxModel::initWithLegacyInboxPlistPayload(*payload);
  (void)ZNInboxModel::initWithNotificationPayload(entry->getLegacyInboxPayload());
  checkInbox();
  return 0;
}
