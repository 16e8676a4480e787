// What the inbox service answers: a synchronisation comes to its end, and what it brought in outlives a restart.

#include "Fuzz/FuzzDevice.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNPlatform/Foundation/Json.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The examples have comments, which a server strips.
  const auto answer = zn::parseJson(zn::fuzz::textOf({data, size}), nullptr, {.allowComments = true});
  if (!answer || !answer->isDictionary()) return 0;
  zn::fuzz::Server::answerWith([&](const auto&) { return zn::NetworkAnswer{*answer, 200, 0}; });
  const auto& store = ZNInboxHandler::sharedInstance();
  int ended = 0;
  store->syncInboxNotificationsWithCompletionHandler([&](bool) { ++ended; });
  zn::fuzz::device().runUntilIdle();
  zn::fuzz::require(ended == 1 && !store->syncInProgress());
  zn::fuzz::checkRoundTrip(*store->inboxData(), ZNInboxData::archivedClasses());
  const auto saved =
      zn::NSKeyedUnarchiver::unarchiveObjectWithFile(store->getFilePathForInbox(), ZNInboxData::archivedClasses());
  const auto inbox = std::dynamic_pointer_cast<ZNInboxData>(saved.root);
  zn::fuzz::require(inbox && !saved.damaged);
  zn::fuzz::require(inbox->inboxMessages()->size() == store->getAllNotificationCount());
  for (const auto& entry : *store->getAllNotificationModelObjs()) {
    store->trackInboxNotificationClickForCampaignID(entry->campaignID());
  }
  store->setInboxData(nullptr);
  return 0;
}
