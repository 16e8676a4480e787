#include <algorithm>
#include <iterator>
#include <string_view>
#include <vector>

#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/Utils/ModuleState_p.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/EventOrigin_p.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"

namespace {

using zn::Value;

Value secondsOrNull(const std::optional<double>& milliseconds) {
  return milliseconds ? Value(*milliseconds / 1000.0) : Value::null();
}

Value described(const zn::Verdict& verdict) {
  return Value::dictionary(
      {{"passes", verdict.passes}, {"because", verdict.because}, {"passesAt", secondsOrNull(verdict.passesAt)}});
}

/// A decision about data of the wrong type fails, and says so.
template <class Decision>
zn::Verdict decided(Decision&& decision) {
  try {
    return decision();
  } catch (...) {
    zn::Verdict failed;
    failed.because = "cannot be decided: " + zn::currentExceptionText();
    return failed;
  }
}

struct Explanation {
  Value gates = Value::array();
  bool allPass = true;

  void add(const char* name, bool passes, const std::string& because) {
    gates.append(Value::dictionary({{"gate", name}, {"passes", passes}, {"because", because}}));
    allPass = allPass && passes;
  }
};

/// Of events that showing a campaign tracks: who tracked one decides too, which an explanation cannot know.
std::string ownEventNote(const Value& name) {
  const std::string_view kTrackedByShowing[] = {kEventNameNotificationReceived, zn::kEventNameNotificationShown,
                                                kEventNameDTScheduled, kEventNameDTScheduleFailed,
                                                kEventNameDTShownOffline};
  if (std::ranges::find(kTrackedByShowing, name.string()) == std::end(kTrackedByShowing)) return {};
  return zn::format(
      "; where showing a campaign tracked it, it never fires that campaign, and a chain of campaigns that "
      "set off one another ends after %ld",
      zn::ShowingChain::kMost);
}

/// What there is to say of campaigns that wait for the event, and of those that did not come so far.
std::vector<std::string> remarksOn(const Value& name, const Value& attributes, const ZNDeviceTriggers& triggers) {
  std::vector<std::string> remarks;
  for (const auto& campaign : triggers.campaignsForEvent(name)) {
    const std::string remark = campaign->conditionRemark(attributes);
    if (!remark.empty()) remarks.push_back(zn::format("campaign \"%@\": %@", campaign->campaignID(), remark));
  }
  const auto dropped = triggers.fields().dropped;
  if (!dropped) return remarks;
  for (const zn::DroppedCampaign& each : dropped->described) {
    if (!each.triggerEvent.isNil() && each.triggerEvent != name) continue;
    remarks.push_back(zn::format("%@ was dropped by the last synchronisation: %@", each.name, each.because));
  }
  return remarks;
}

std::string eventNote(const Value& name, const Value& attributes, bool waits, const ZNDeviceTriggers& triggers) {
  constexpr std::size_t kMost = 20;
  const auto remarks = remarksOn(name, attributes, triggers);
  std::string note =
      waits ? "a campaign waits for this event" + ownEventNote(name) : "no campaign waits for this event";
  for (std::size_t i = 0; i < std::min(remarks.size(), kMost); ++i) note += "; " + remarks[i];
  if (remarks.size() > kMost) note += zn::format("; and so on for %ld more", remarks.size() - kMost);
  return note;
}

Explanation gatesFor(const Value& name, const Value& attributes, const ZNDeviceTriggers& triggers, bool alertsAllowed) {
  const auto& configuration = ZNConfigDataManager::sharedInstance();
  Explanation all;
  const bool account = configuration->isAccountActive();
  const bool sdk = ZNCoreUtils::isSDKEnabled();
  all.add("sdk", account && sdk,
          !account ? "the account is inactive"
          : sdk    ? "the library is switched on"
                   : "the library is switched off");
  const bool enabled = configuration->isRealTimeTriggersEnabled();
  all.add("enabled", enabled, enabled ? "real-time triggers are switched on" : "real-time triggers are switched off");
  const Value appID = configuration->getZinAppID();
  all.add("appID", appID.length() > 0, zn::format("the application id is \"%@\"", appID.isNil() ? Value("") : appID));
  const bool waits = !name.isNil() && triggers.waitsForEvent(name);
  all.add("event", waits, eventNote(name, attributes, waits, triggers));
  all.add("alerts", alertsAllowed, alertsAllowed ? "the user allows alerts" : "the user does not allow alerts");
  return all;
}

Value explained(const Value& name, const Value& attributes, bool alertsAllowed) {
  const auto& store = ZNDeviceTriggersDataManager::sharedInstance();
  const auto triggers = store->activeDeviceTriggers();
  const auto fields = triggers->fields();
  const Explanation gates = gatesFor(name, attributes, *triggers, alertsAllowed);
  const zn::Verdict globalDelay = decided([&] {
    return zn::globalDelayRule(fields.deviceTriggerLastPostedTime, fields.globalDelay, zn::secondsSince1970());
  });
  bool mayFire = gates.allPass && globalDelay.passes;
  Value campaigns = Value::array();
  for (const auto& campaign : fields.campaigns()) {
    const auto status = store->getStatusInstanceForCampaign(*campaign);
    const zn::RuleInput input{*campaign, status.get(), fields.deviceTriggerLastUpdatedTime,
                              zn::millisecondsSince1970()};
    bool rulesPass = true;
    Value rules = Value::array();
    for (const zn::Rule& rule : zn::postingRules()) {
      const zn::Verdict verdict = decided([&] { return rule.decide(input); });
      Value line = described(verdict);
      line.setObjectNilHandled(rule.name, "rule");
      rules.append(line);
      rulesPass = rulesPass && verdict.passes;
    }
    const bool matches = campaign->matches(name, attributes);
    const bool fires = mayFire && matches && rulesPass;
    if (fires) mayFire = false;  // one campaign an event
    const Value id = campaign->campaignID();
    campaigns.append(Value::dictionary(
        {{"campaign", id.isNil() ? Value::null() : id}, {"matches", matches}, {"fires", fires}, {"rules", rules}}));
  }
  return Value::dictionary({{"gates", gates.gates}, {"globalDelay", described(globalDelay)}, {"campaigns", campaigns}});
}

}  // namespace

void ZNDeviceTriggersHandler::explainEvent(const Value& name, const Value& attributes,
                                           std::function<void(const Value& explanation)> completion) const {
  const auto answer =
      zn::guardedOnce("explainEvent", "exception while explaining an event : %@", std::move(completion));
  zn::checkAlertsAllowed(
      [name, attributes, answer](bool isAllowed) { answer(explained(name, attributes, isAllowed)); });
}
