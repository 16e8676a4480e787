// What the campaign service answers, and the segment service after it: campaigns are stored, the events that they wait
// for are tracked, and all that follows comes to its end.

#include "Fuzz/FuzzDevice.h"
#include "ZNAnalytics/TrackedEvent.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/Foundation/Json.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The examples have comments, which a server strips.
  const auto answer = zn::parseJson(zn::fuzz::textOf({data, size}), nullptr, {.allowComments = true});
  if (!answer || !answer->isDictionary()) return 0;
  zn::fuzz::Server::answerWith([&](const auto&) { return zn::NetworkAnswer{*answer, 200, 0}; });
  const auto& handler = ZNDeviceTriggersHandler::sharedInstance();
  const auto& store = ZNDeviceTriggersDataManager::sharedInstance();
  int ended = 0;
  handler->syncDeviceTriggersWithCompletionBlock([&](bool) { ++ended; });
  zn::fuzz::device().runUntilIdle();
  zn::fuzz::require(ended == 1);
  zn::fuzz::checkRoundTrip(*store->activeDeviceTriggers(), ZNDeviceTriggers::archivedClasses());

  constexpr std::size_t kMostEvents = 3;
  const zn::Value attributes = zn::trackedDictionary(zn::Value::dictionary({{"price", 60}, {"category", "boots"}}));
  const zn::Value events = store->activeDeviceTriggers()->deviceTriggerEvents();
  int explained = 0;
  std::size_t asked = 0;
  for (const zn::Value& event : events.elements().first(std::min(events.size(), kMostEvents))) {
    handler->explainEvent(event, attributes, [&](const zn::Value&) { ++explained; });
    handler->checkDeviceTriggerForEvent(event, attributes);
    zn::fuzz::device().advance(1);
    ++asked;
  }
  zn::fuzz::require(explained == static_cast<int>(asked));
  store->setActiveDeviceTriggers(nullptr);
  return 0;
}
