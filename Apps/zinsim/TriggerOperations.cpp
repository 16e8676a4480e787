// Operations of device triggers: the engine, its store and its helpers.

#include "Apps/zinsim/Operations.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggerUtils.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"

namespace zinsim {

namespace {

using E = ZNDeviceTriggersHandler;
using S = ZNDeviceTriggersDataManager;
using U = ZNDeviceTriggerUtils;
using Campaign = Record<ZNDeviceTriggerCampaign>;

std::vector<Operation> handlerOperations() {
  return {
      operation("sharedInstance", {}, [](A) { return className(E::sharedInstance(), "ZNDeviceTriggersHandler"); }),
      operation("isRealTimeTriggerEnabled", {}, &E::isRealTimeTriggerEnabled),
      operation("shouldFetch", {}, &E::shouldFetch),
      operation("getExistingCampaignList", {}, &E::getExistingCampaignList),
      operation("getDeviceTriggerSyncRequestPayload", {}, &E::getDeviceTriggerSyncRequestPayload),
      operation("syncDeviceTriggersWithCompletionBlock:", {P::completion}, &E::syncDeviceTriggersWithCompletionBlock),
      operation("clearDeviceTriggersData", {}, &E::clearDeviceTriggersData),
      operation("lastUpdatedTime", {}, &E::lastUpdatedTime),
      operation("setLastUpdatedTime:", {P::number}, &E::setLastUpdatedTime),
      operation("checkDeviceTriggerForEvent:withEventAttributes:", {P::text, P::dictionary},
                &E::checkDeviceTriggerForEvent),
      operation("startBGTaskForEvent:withEventDict:", {P::text, P::dictionary}, &E::startBGTaskForEvent),
      operation("checkPreconditionsForDeviceTriggerWithEvent:withEventAttributes:", {P::text, P::dictionary},
                &E::checkPreconditionsForDeviceTriggerWithEvent),
      operation("checkForGlobalDelay", {}, &E::checkForGlobalDelay),
      operation("isDateTimeGreaterThanNow:", {P::number}, &E::isDateTimeGreaterThanNow),
      operation("canPostDeviceTrigger:", {P::campaign}, &E::canPostDeviceTrigger),
      operation("checkIfDNDForCampaign:", {P::campaign}, &E::checkIfDNDForCampaign),
      operation("endBGTask", {}, &E::endBGTask),
      operation("dt_BgTask", {}, &E::dt_BgTask),
      operation("checkUserInSegmentForDTCampaign:withEventDict:", {P::campaign, P::dictionary},
                [](A a) { E::sharedInstance()->checkUserInSegmentForDTCampaign(a.as<Campaign>(0), a.value(1)); }),
      operation("getUserInSegmentPayloadWithCampaignID:andEventDict:", {P::text, P::dictionary},
                &E::getUserInSegmentPayloadWithCampaignID),
      operation("postDeviceTriggerCampaign:isOffline:", {P::campaign, P::boolean},
                [](A a) { E::sharedInstance()->postDeviceTriggerCampaign(a.as<Campaign>(0), a.as<bool>(1)); }),
      operation("getPayloadToShow:forOffline:", {P::campaign, P::boolean}, &E::getPayloadToShow),
      operation("processDeviceTriggerWithInfo:", {P::postInfo}, &E::processDeviceTriggerWithInfo),
      operation("getRequestForPayload:withAttachments:andTimeTrigger:", {P::dictionary, P::texts, P::number},
                &E::getRequestForPayload),
      operation("postDeviceTriggerWithRequest:andInfo:", {P::request, P::postInfo}, &E::postDeviceTriggerWithRequest),
  };
}

std::vector<Operation> storing() {
  return {
      operation("sharedInstance", {}, [](A) { return className(S::sharedInstance(), "ZNDeviceTriggersDataManager"); }),
      operation("saveDeviceTriggerCampaigns:andUpdateLastSyncTime:", {P::array, P::boolean},
                &S::saveDeviceTriggerCampaigns),
      operation("updateDeviceTriggersFromServerResponse:", {P::array}, &S::updateDeviceTriggersFromServerResponse),
      operation("updateStatusEntriesForCampaigns:", {P::campaigns}, &S::updateStatusEntriesForCampaigns),
      operation("removeExpiredCampaign:", {P::campaigns},
                [](A a) { return S::removeExpiredCampaign(a.as<zn::CampaignList>(0), zn::millisecondsSince1970()); }),
      operation("sortCampaignByLastUpdatedTime:", {P::campaigns}, &S::sortCampaignByLastUpdatedTime),
      operation("getTriggerEvents:", {P::campaigns}, &S::getTriggerEvents),
      operation("getCampaignsForEvent:withAttributes:", {P::text, P::dictionary}, &S::getCampaignsForEvent),
      operation("getStatusInstanceForCampaign:", {P::campaign}, &S::getStatusInstanceForCampaign),
      operation("updateCampaignShownForCampaign:", {P::campaign},
                [](A a) { S::sharedInstance()->updateCampaignShownForCampaign(a.as<Campaign>(0)); }),
      operation("updateDeviceTriggersInPersistentStorage", {},
                [](A) { static_cast<void>(S::sharedInstance()->updateDeviceTriggersInPersistentStorage()); }),
      operation("getDeviceTriggerFilePath", {}, &S::getDeviceTriggerFilePath),
      operation("getDeviceTriggerLastUpdatedTime", {}, &S::getDeviceTriggerLastUpdatedTime),
      operation("activeDeviceTriggers", {},
                [](A) { return className(S::sharedInstance()->activeDeviceTriggers(), "ZNDeviceTriggers"); }),
      operation("setActiveDeviceTriggers:", {P::container}, &S::setActiveDeviceTriggers),
  };
}

std::vector<Operation> utilities() {
  return {
      operation("DNDTimeStringFromNumber:", {P::number}, &U::DNDTimeStringFromNumber),
      operation("hourFromDNDString:", {P::text}, &U::hourFromDNDString),
      operation("minuteFromDNDString:", {P::text}, &U::minuteFromDNDString),
      operation("trackNotificationScheduledFailedForCampaign:withPayload:", {P::campaign, P::dictionary},
                &U::trackNotificationScheduledFailedForCampaign),
      operation("trackNotificationScheduledForCampaign:withPayload:", {P::campaign, P::dictionary},
                &U::trackNotificationScheduledForCampaign),
      operation("trackNotificationOfflineForCampaign:withPayload:", {P::campaign, P::dictionary},
                &U::trackNotificationOfflineForCampaign),
      operation("trackNotificationReceivedForCampaign:withPayload:", {P::campaign, P::dictionary},
                &U::trackNotificationReceivedForCampaign),
      operation("trackNotificationShownForCampaign:withPayload:", {P::campaign, P::dictionary},
                &U::trackNotificationShownForCampaign),
      operation("getPropertiesForTrackingEventsForCampaign:withPayload:", {P::campaign, P::dictionary},
                &U::getPropertiesForTrackingEventsForCampaign),
  };
}

}  // namespace

std::vector<OperationTable> triggerOperations() {
  return {{"ZNDeviceTriggersHandler", handlerOperations()},
          {"ZNDeviceTriggersDataManager", storing()},
          {"ZNDeviceTriggerUtils", utilities()}};
}

}  // namespace zinsim
