#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNMessaging/Utils/ModuleState_p.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/EventOrigin_p.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNDateUtils.h"
#include "ZintarCore/ZNLogger.h"

namespace {

const std::shared_ptr<ZNDeviceTriggersDataManager>& store() { return ZNDeviceTriggersDataManager::sharedInstance(); }

}  // namespace

void ZNDeviceTriggersHandler::checkDeviceTriggerForEvent(const zn::Value& name, const zn::Value& attributes) {
  zn::guarded("checkDeviceTriggerForEvent:withEventAttributes:", "exception while checking device trigger : %@", [&] {
    if (name.isNil()) return;
    const zn::EventOrigin origin = zn::EventOrigin::here();  // before the store, which a reset empties
    if (!store()->activeDeviceTriggers()->waitsForEvent(name)) {
      return zn::log("Device Triggers -- No Device Triggers for %@", name);
    }
    if (origin.chain && origin.chain->isOver()) return origin.chain->tellEnd(name);
    zn::log("Device Triggers -- Event %@ contains a Device trigger ✅", name);
    zn::checkAlertsAllowed([self = shared_from_this(), name, attributes, origin](bool isAllowed) {
      if (!isAllowed) return zn::log("Device Triggers -- Push Notification settings not provided 🛑");
      const zn::OriginScope scope(origin);
      self->startBGTaskForEvent(name, attributes);
    });
  });
}

void ZNDeviceTriggersHandler::startBGTaskForEvent(const zn::Value& name, const zn::Value& attributes) {
  zn::guarded("startBGTaskForEvent:withEventDict:", "exception while checking device trigger : %@", [&] {
    zn::dispatchAsync(zn::Queue::main, [self = shared_from_this(), name, attributes, origin = zn::EventOrigin::here()] {
      const auto application = UIApplication::sharedApplication();
      if (application->applicationState() == UIApplicationState::background) {
        // The handler learns the identifier after it was made; it runs on the main queue too, so never before that.
        const auto identifier = std::make_shared<UIBackgroundTaskIdentifier>(UIBackgroundTaskInvalid);
        *identifier = application->beginBackgroundTaskWithExpirationHandler([self, application, identifier] {
          application->endBackgroundTask(*identifier);
          self->dt_BgTask_ = UIBackgroundTaskInvalid;
        });
        self->dt_BgTask_ = *identifier;
      }
      zn::dispatchAsync(zn::Queue::global, [self, name, attributes, origin] {
        const zn::OriginScope scope(origin);
        self->checkPreconditionsForDeviceTriggerWithEvent(name, attributes);
      });
    });
  });
}

void ZNDeviceTriggersHandler::endBGTask() {
  zn::guarded("endBGTask", "exception while ending a background task : %@", [&] {
    const UIBackgroundTaskIdentifier identifier = dt_BgTask_.exchange(UIBackgroundTaskInvalid);
    if (identifier != UIBackgroundTaskInvalid) UIApplication::sharedApplication()->endBackgroundTask(identifier);
  });
}

void ZNDeviceTriggersHandler::checkPreconditionsForDeviceTriggerWithEvent(const zn::Value& name,
                                                                          const zn::Value& attributes) {
  const zn::OriginScope scope(zn::EventOrigin::here());  // one origin for all that follows
  zn::guarded("checkPreconditionsForDeviceTriggerWithEvent:withEventAttributes:",
              "exception while checking device trigger : %@", [&] {
                if (!checkForGlobalDelay()) {
                  return zn::log("Device Triggers -- Device Trigger Global Delay check failed 🛑");
                }
                zn::log("Device Triggers -- Device Trigger Global Delay check passed ✅");
                const zn::CampaignList campaigns = store()->getCampaignsForEvent(name, attributes);
                if (campaigns.empty()) zn::log("Device Triggers -- Trigger Condition Not satisfied  🛑");
                for (const auto& campaign : campaigns) {
                  if (scope.origin().isShowingOf(*campaign)) {
                    zn::log("Device Triggers -- Campaign(%@) Not checked as showing it tracked the event 🛑",
                            campaign->campaignID());
                    continue;
                  }
                  zn::log("Device Triggers -- Checking Rules for Device Trigger : %@ ✅", campaign->campaignID());
                  if (canPostDeviceTrigger(*campaign)) {
                    zn::log("Device Triggers -- Rule Check Passes by Device Trigger : %@ | Now check User in Segment ✅",
                            campaign->campaignID());
                    checkUserInSegmentForDTCampaign(campaign, attributes);
                    return;  // at most one campaign an event
                  }
                  zn::log("Device Triggers -- Campaign(%@) Rules Check Failed 🛑", campaign->campaignID());
                }
              });
}

bool ZNDeviceTriggersHandler::isDateTimeGreaterThanNow(double secondsSince1970) const {
  return secondsSince1970 > zn::secondsSince1970();
}

bool ZNDeviceTriggersHandler::checkForGlobalDelay() const {
  return zn::guarded("checkForGlobalDelay", "exception while checking the global delay : %@", [&] {
    const auto fields = store()->activeDeviceTriggers()->fields();
    const zn::Verdict verdict = zn::globalDelayRule(fields.deviceTriggerLastPostedTime, fields.globalDelay,
                                                    zn::secondsSince1970(), ZNLogger::sharedInstance()->isEnabled());
    if (!verdict.line.empty()) zn::log("%@", verdict.line);
    return verdict.passes;
  });
}

bool ZNDeviceTriggersHandler::canPostDeviceTrigger(const ZNDeviceTriggerCampaign& campaign) const {
  return zn::guarded("canPostDeviceTrigger:", "exception while checking device trigger rules : %@", [&] {
    const auto status = store()->getStatusInstanceForCampaign(campaign);
    const auto last = store()->activeDeviceTriggers()->fields().deviceTriggerLastUpdatedTime;
    const zn::RuleInput input{campaign, status.get(), last, zn::millisecondsSince1970(),
                              ZNLogger::sharedInstance()->isEnabled()};
    for (const zn::Rule& rule : zn::postingRules()) {
      const zn::Verdict verdict = rule.decide(input);
      if (!verdict.line.empty()) zn::log("%@", verdict.line);
      if (!verdict.passes) return false;
    }
    // Without a record the last two rules let pass at once, and so does the closing line.
    if (status) zn::log("Device Triggers -- Campaign(%@) Rule Checks passed ✅", campaign.campaignID());
    return true;
  });
}

bool ZNDeviceTriggersHandler::checkIfDNDForCampaign(const ZNDeviceTriggerCampaign& campaign) const {
  return zn::guarded("checkIfDNDForCampaign:", "exception while checking do not disturb : %@", [&] {
    const auto fields = store()->activeDeviceTriggers()->fields();
    const zn::Value notSet = "NA";
    if (fields.dndStartTime == notSet || fields.dndEndTime == notSet) return false;
    const std::int64_t delay = campaign.triggerDelay().longLongValue() / 1000;
    const std::string trigger = ZNDateUtils::dateFormatterForUsPosixLocaleWithFormat("HH:mm", true)
                                    .stringFromDate(zn::Date{zn::secondsSince1970() + static_cast<double>(delay)});
    zn::log("Device Triggers - DND Check in GMT || DND Start Time(%@) and DND End Time(%@) || Trigger Time(%@)",
            fields.dndStartTime, fields.dndEndTime, trigger);
    const auto time = ZNDateUtils::getDateComponentsFromTimeString(trigger);
    const auto start = ZNDateUtils::getDateComponentsFromTimeString(fields.dndStartTime.string());
    const auto end = ZNDateUtils::getDateComponentsFromTimeString(fields.dndEndTime.string());
    // Kept as it always was: any time that can be read means "not in the window", so the offline way is never held
    // back; online the server decides. Turning this round would silence campaigns that hosts count on.
    if (time || start || end) return false;
    return ZNDateUtils::isTime(time, start, end);
  });
}
