// Operations of device triggers: the engine, its store and its helpers.

#include "Apps/zinsim/Operations.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggerUtils.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"

namespace zinsim {

namespace P = shape;
using A = const Arguments&;

namespace {

ZNDeviceTriggersHandler& engine() { return *ZNDeviceTriggersHandler::sharedInstance(); }
ZNDeviceTriggersDataManager& store() { return *ZNDeviceTriggersDataManager::sharedInstance(); }

std::vector<Operation> synchronisation() {
  return {
      operation("sharedInstance", {},
                [](A) { return className(ZNDeviceTriggersHandler::sharedInstance(), "ZNDeviceTriggersHandler"); }),
      operation("isRealTimeTriggerEnabled", {}, [](A) { return engine().isRealTimeTriggerEnabled(); }),
      operation("shouldFetch", {}, [](A) { return engine().shouldFetch(); }),
      operation("getExistingCampaignList", {}, [](A) { return engine().getExistingCampaignList(); }),
      operation("getDeviceTriggerSyncRequestPayload", {},
                [](A) { return engine().getDeviceTriggerSyncRequestPayload(); }),
      operation("syncDeviceTriggersWithCompletionBlock:", {P::completion},
                [](A a) { engine().syncDeviceTriggersWithCompletionBlock(a.booleanCompletion(0)); }),
      operation("clearDeviceTriggersData", {}, [](A) { engine().clearDeviceTriggersData(); }),
      operation("lastUpdatedTime", {}, [](A) { return zn::Value(engine().lastUpdatedTime()); }),
      operation("setLastUpdatedTime:", {P::number},
                [](A a) { engine().setLastUpdatedTime(a.value(0).longLongValue()); }),
  };
}

std::vector<Operation> evaluation() {
  return {
      operation("checkDeviceTriggerForEvent:withEventAttributes:", {P::text, P::dictionary},
                [](A a) { engine().checkDeviceTriggerForEvent(a.value(0), a.value(1)); }),
      operation("startBGTaskForEvent:withEventDict:", {P::text, P::dictionary},
                [](A a) { engine().startBGTaskForEvent(a.value(0), a.value(1)); }),
      operation("checkPreconditionsForDeviceTriggerWithEvent:withEventAttributes:", {P::text, P::dictionary},
                [](A a) { engine().checkPreconditionsForDeviceTriggerWithEvent(a.value(0), a.value(1)); }),
      operation("checkForGlobalDelay", {}, [](A) { return engine().checkForGlobalDelay(); }),
      operation("isDateTimeGreaterThanNow:", {P::number},
                [](A a) { return engine().isDateTimeGreaterThanNow(a.value(0).doubleValue()); }),
      operation("canPostDeviceTrigger:", {P::campaign},
                [](A a) { return engine().canPostDeviceTrigger(*a.campaign(0)); }),
      operation("checkIfDNDForCampaign:", {P::campaign},
                [](A a) { return engine().checkIfDNDForCampaign(*a.campaign(0)); }),
      operation("endBGTask", {}, [](A) { engine().endBGTask(); }),
      operation("dt_BgTask", {}, [](A) { return zn::Value(engine().dt_BgTask()); }),
  };
}

std::vector<Operation> posting() {
  return {
      operation("checkUserInSegmentForDTCampaign:withEventDict:", {P::campaign, P::dictionary},
                [](A a) { engine().checkUserInSegmentForDTCampaign(a.campaign(0), a.value(1)); }),
      operation("getUserInSegmentPayloadWithCampaignID:andEventDict:", {P::text, P::dictionary},
                [](A a) { return engine().getUserInSegmentPayloadWithCampaignID(a.value(0), a.value(1)); }),
      operation("postDeviceTriggerCampaign:isOffline:", {P::campaign, P::boolean},
                [](A a) { engine().postDeviceTriggerCampaign(a.campaign(0), a.boolean(1)); }),
      operation("getPayloadToShow:forOffline:", {P::campaign, P::boolean},
                [](A a) {
                  const auto payload = engine().getPayloadToShow(*a.campaign(0), a.boolean(1));
                  return payload ? payload->pushDict() : zn::nil;
                }),
      operation("processDeviceTriggerWithInfo:", {P::postInfo},
                [](A a) { engine().processDeviceTriggerWithInfo(a.postInfo(0)); }),
      operation("getRequestForPayload:withAttachments:andTimeTrigger:", {P::dictionary, P::texts, P::number},
                [](A a) {
                  engine().getRequestForPayload(*a.triggerPayload(0), a.texts(1), a.trigger(2));
                  return zn::Value("UNNotificationRequest");
                }),
      operation("postDeviceTriggerWithRequest:andInfo:", {P::request, P::postInfo},
                [](A a) { engine().postDeviceTriggerWithRequest(a.request(0), a.postInfo(1)); }),
  };
}

std::vector<Operation> storing() {
  return {
      operation(
          "sharedInstance", {},
          [](A) { return className(ZNDeviceTriggersDataManager::sharedInstance(), "ZNDeviceTriggersDataManager"); }),
      operation("saveDeviceTriggerCampaigns:andUpdateLastSyncTime:", {P::array, P::boolean},
                [](A a) { store().saveDeviceTriggerCampaigns(a.value(0), a.boolean(1)); }),
      operation("updateDeviceTriggersFromServerResponse:", {P::array},
                [](A a) { return store().updateDeviceTriggersFromServerResponse(a.value(0)); }),
      operation("updateStatusEntriesForCampaigns:", {P::campaigns},
                [](A a) { store().updateStatusEntriesForCampaigns(a.campaigns(0)); }),
      operation("removeExpiredCampaign:", {P::campaigns},
                [](A a) { return store().removeExpiredCampaign(a.campaigns(0), zn::millisecondsSince1970()); }),
      operation("sortCampaignByLastUpdatedTime:", {P::campaigns},
                [](A a) { return store().sortCampaignByLastUpdatedTime(a.campaigns(0)); }),
      operation("getTriggerEvents:", {P::campaigns}, [](A a) { return store().getTriggerEvents(a.campaigns(0)); }),
      operation("getCampaignsForEvent:withAttributes:", {P::text, P::dictionary},
                [](A a) { return store().getCampaignsForEvent(a.value(0), a.value(1)); }),
      operation("getStatusInstanceForCampaign:", {P::campaign},
                [](A a) { return store().getStatusInstanceForCampaign(*a.campaign(0)); }),
      operation("updateCampaignShownForCampaign:", {P::campaign},
                [](A a) { store().updateCampaignShownForCampaign(*a.campaign(0)); }),
      operation("updateDeviceTriggersInPersistentStorage", {},
                [](A) { static_cast<void>(store().updateDeviceTriggersInPersistentStorage()); }),
      operation("getDeviceTriggerFilePath", {}, [](A) { return store().getDeviceTriggerFilePath(); }),
      operation("getDeviceTriggerLastUpdatedTime", {}, [](A) { return store().getDeviceTriggerLastUpdatedTime(); }),
      operation("activeDeviceTriggers", {},
                [](A) { return className(store().activeDeviceTriggers(), "ZNDeviceTriggers"); }),
      operation("setActiveDeviceTriggers:", {P::container},
                [](A a) { store().setActiveDeviceTriggers(a.container(0)); }),
  };
}

using Track = void (*)(const ZNDeviceTriggerCampaign&, const ZNDeviceTriggerPayload&);

Operation tracking(const char* selector, Track track) {
  return operation(selector, {P::campaign, P::dictionary},
                   [track](A a) { track(*a.campaign(0), *a.triggerPayload(1)); });
}

std::vector<Operation> utilities() {
  return {
      operation("DNDTimeStringFromNumber:", {P::number},
                [](A a) { return ZNDeviceTriggerUtils::DNDTimeStringFromNumber(a.value(0)); }),
      operation("hourFromDNDString:", {P::text},
                [](A a) { return zn::Value(ZNDeviceTriggerUtils::hourFromDNDString(a.value(0))); }),
      operation("minuteFromDNDString:", {P::text},
                [](A a) { return zn::Value(ZNDeviceTriggerUtils::minuteFromDNDString(a.value(0))); }),
      tracking("trackNotificationScheduledFailedForCampaign:withPayload:",
               &ZNDeviceTriggerUtils::trackNotificationScheduledFailedForCampaign),
      tracking("trackNotificationScheduledForCampaign:withPayload:",
               &ZNDeviceTriggerUtils::trackNotificationScheduledForCampaign),
      tracking("trackNotificationOfflineForCampaign:withPayload:",
               &ZNDeviceTriggerUtils::trackNotificationOfflineForCampaign),
      tracking("trackNotificationReceivedForCampaign:withPayload:",
               &ZNDeviceTriggerUtils::trackNotificationReceivedForCampaign),
      tracking("trackNotificationShownForCampaign:withPayload:",
               &ZNDeviceTriggerUtils::trackNotificationShownForCampaign),
      operation("getPropertiesForTrackingEventsForCampaign:withPayload:", {P::campaign, P::dictionary},
                [](A a) {
                  return className(ZNDeviceTriggerUtils::getPropertiesForTrackingEventsForCampaign(
                                       *a.campaign(0), *a.triggerPayload(1)),
                                   "ZNProperties");
                }),
  };
}

}  // namespace

std::vector<OperationTable> triggerOperations() {
  return {{"ZNDeviceTriggersHandler", joined({synchronisation(), evaluation(), posting()})},
          {"ZNDeviceTriggersDataManager", storing()},
          {"ZNDeviceTriggerUtils", utilities()}};
}

}  // namespace zinsim
