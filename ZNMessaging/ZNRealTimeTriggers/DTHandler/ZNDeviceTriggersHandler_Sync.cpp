#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNMessaging/Utils/OwnerToken_p.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggerUtils.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/TriggerNumbers_p.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNLogger.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {

constexpr const char* kSyncSelector = "syncDeviceTriggersWithCompletionBlock:";
constexpr const char* kSyncFailure = "exception while syncing device trigger : %@";

std::int64_t wholeSecondsSince1970() { return zn::Value(zn::secondsSince1970()).longLongValue(); }

const std::shared_ptr<ZNDeviceTriggersDataManager>& store() { return ZNDeviceTriggersDataManager::sharedInstance(); }

}  // namespace

const std::shared_ptr<ZNDeviceTriggersHandler>& ZNDeviceTriggersHandler::sharedInstance() {
  static const zn::NeverDestroyed instance(std::make_shared<ZNDeviceTriggersHandler>());
  return *instance;
}

bool ZNDeviceTriggersHandler::isRealTimeTriggerEnabled() const {
  const auto& configuration = ZNConfigDataManager::sharedInstance();
  if (!ZNCoreUtils::isSDKEnabled() || !configuration->isRealTimeTriggersEnabled()) return false;
  if (configuration->hasZinAppID()) return true;
  zn::log("RealTime Trigger Sync API not called. AppID not present");
  return false;
}

bool ZNDeviceTriggersHandler::shouldFetch() const {
  const std::int64_t interval = ZNConfigDataManager::sharedInstance()->getRealTimeTriggerSyncInterval();
  const std::int64_t last = lastUpdatedTime();
  if (last == 0 || zn::boundedSum(last, interval) <= wholeSecondsSince1970()) return true;
  zn::log("Not fetching it since Real-Time Triggers will be fetched only once in %ld secs", interval);
  return false;
}

zn::Value ZNDeviceTriggersHandler::getExistingCampaignList() const {
  zn::Value ids = zn::Value::array();
  const auto fields = store()->activeDeviceTriggers()->fields();
  for (const auto& campaign : fields.campaigns()) {
    if (campaign->isActive()) ids.append(campaign->campaignID());
  }
  return ids;
}

zn::Value ZNDeviceTriggersHandler::getDeviceTriggerSyncRequestPayload() const {
  const zn::Value params =
      ZNNetworkConfiguration::sharedInstance()->getQueryParamsBodyDictForService(ZNService::triggerSync);
  if (params.isNil()) {
    zn::log("Query Params are nil");
    return zn::nil;
  }
  return zn::Value::dictionary({{"campaign_ids", getExistingCampaignList()},
                                {"last_sync_time", store()->getDeviceTriggerLastUpdatedTime()},
                                {"query_params", params}});
}

void ZNDeviceTriggersHandler::syncDeviceTriggersWithCompletionBlock(std::function<void(bool)> completion) {
  zn::answeredOnce(kSyncSelector, kSyncFailure, std::move(completion), [&](const auto& answer) {
    const zn::OwnerToken owner = zn::OwnerToken::ofTriggers();  // before the store, which a reset empties
    store()->retryStorage();                                    // the server is told what is stored
    const zn::Value body = getDeviceTriggerSyncRequestPayload();
    if (body.isNil()) {
      zn::log("BodyDict is nil");
      return true;  // a start without parameters stays unanswered
    }
    zn::log("Device Trigger Sync request initiated:");
    const auto request = ZNNetworkRequest::initWithService(ZNService::triggerSync, zn::nil, zn::nil, body, zn::nil);
    request->executeRequestWithCompletionBlock(
        [self = shared_from_this(), owner, answer](bool, const zn::Value& response) {
          const auto container = store()->activeDeviceTriggersOf(owner);
          answer(zn::guarded(kSyncSelector, kSyncFailure, [&] {
            if (!container) {
              zn::log("Real-Time Trigger -- Answer left unused: the user was reset or opted out meanwhile 🛑");
            } else if (response.isNil()) {
              zn::log("Real-Time Trigger -- Error while syncing Device Triggers");
            } else {
              self->storeServerAnswer(container, response);
              return true;
            }
            return false;
          }));
        });
    return true;
  });
}

void ZNDeviceTriggersHandler::storeServerAnswer(const std::shared_ptr<ZNDeviceTriggers>& container,
                                                const zn::Value& response) {
  lastUpdatedTime_ = wholeSecondsSince1970();
  zn::log("Real-Time Trigger -- Device Trigger API Response : %@", response);
  const auto setLimits = [&](ZNDeviceTriggers::Fields& fields) {
    const auto dndTime = [&](const char* key) {
      return ZNDeviceTriggerUtils::DNDTimeStringFromNumber(response.validObjectForKey(key));
    };
    // Stored also when the answer lacks it: no delay is the server's word too.
    fields.globalDelay = response.validObjectForKey("min_delay_across_campaigns");
    fields.dndStartTime = dndTime("dnd_start_time");
    fields.dndEndTime = dndTime("dnd_end_time");
  };
  bool isUserKnown = true;
  try {
    ZNDeviceTriggers::Fields trial;
    setLimits(trial);
    isUserKnown = !response.validObjectForKey("user_not_found").boolValue();
  } catch (...) {
    container->update(setLimits);  // of an answer that cannot be read on, what stands before that place counts
    throw;
  }
  store()->saveServerAnswer(container, response.validObjectForKey("campaigns"), isUserKnown, setLimits);
  // A reset that overtook this answer wants the next synchronisation at once.
  if (store()->activeDeviceTriggers() != container) lastUpdatedTime_ = 0;
  zn::log("Real-Time Trigger -- Campaigns synced successfully");
}

void ZNDeviceTriggersHandler::stop() {
  zn::OwnerToken::triggersWereStopped();
  clearDeviceTriggersData();
  withdrawWaitingNotifications();
}

void ZNDeviceTriggersHandler::clearDeviceTriggersData() {
  zn::guarded("clearDeviceTriggersData", "exception while clearing device triggers : %@", [&] {
    store()->startOver();
    lastUpdatedTime_ = 0;  // after the replacement: an answer that is just being stored looks for that
    store()->updateDeviceTriggersInPersistentStorage();
  });
}
