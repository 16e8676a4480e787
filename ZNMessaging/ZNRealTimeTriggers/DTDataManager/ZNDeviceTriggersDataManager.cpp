#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"

#include <algorithm>
#include <limits>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "ZNMessaging/Utils/OwnerToken_p.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/TriggerNumbers_p.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNLogger.h"

namespace {

constexpr const char* kSavingSelector = "saveDeviceTriggerCampaigns:andUpdateLastSyncTime:";
constexpr const char* kSavingFailure = "Device Triggers -- exception while saving in device trigger data is %@";

using zn::isOver;
using zn::timeIn;

std::shared_ptr<ZNDeviceTriggerStatus> freshStatus(const ZNDeviceTriggerCampaign& campaign) {
  return ZNDeviceTriggerStatus::initWithDictionary(
      zn::Value::dictionary({{"campaign_id", campaign.campaignID()}, {"expiry", campaign.expiry()}}));
}

/// A campaign whose expiry is no number counts as expired. It alone is lost, but not silently.
void tellOfOddExpiry(const ZNDeviceTriggerCampaign& campaign) {
  const zn::Value expiry = campaign.expiry();
  if (expiry.isNil() || !zn::numberOrNil(expiry).isNil()) return;
  zn::guarded(kSavingSelector, kSavingFailure, [&] {
    throw zn::Exception(zn::format("campaign %@: \"expiry\" must be a number", campaign.campaignID()));
  });
}

/// What is no number sorts below every number: one odd campaign does not cost the others of an answer.
zn::Value sortKey(const zn::Value& value) {
  if (value.isBoolean()) return value.longLongValue();
  if (value.isNumber()) return value;
  return value.isString() ? zn::Value(value.doubleValue()) : zn::Value(-std::numeric_limits<double>::infinity());
}

}  // namespace

std::int64_t zn::millisecondsSince1970() { return Value(secondsSince1970() * 1000.0).longLongValue(); }

const std::shared_ptr<ZNDeviceTriggersDataManager>& ZNDeviceTriggersDataManager::sharedInstance() {
  static const zn::NeverDestroyed instance(std::make_shared<ZNDeviceTriggersDataManager>());
  return *instance;
}

ZNDeviceTriggersDataManager::ZNDeviceTriggersDataManager() : file_([this] { return getDeviceTriggerFilePath(); }) {
  file_.load<ZNDeviceTriggers>(ZNDeviceTriggers::archivedClasses(), [this](const auto& stored) { adopt(stored); });
}

/// What is in memory came later.
void ZNDeviceTriggersDataManager::adopt(const std::shared_ptr<ZNDeviceTriggers>& stored) {
  const auto present = activeDeviceTriggers();
  if (!present) return setActiveDeviceTriggers(stored);
  if (!stored) return;
  const ZNDeviceTriggers::Fields older = stored->fields();
  present->update([&](ZNDeviceTriggers::Fields& fields) {
    const bool hasAnswer = timeIn(fields.deviceTriggerLastUpdatedTime) != 0 || !fields.campaigns().empty();
    if (!hasAnswer) {
      fields.globalDelay = older.globalDelay;
      fields.dndStartTime = older.dndStartTime;
      fields.dndEndTime = older.dndEndTime;
      fields.deviceTriggerLastUpdatedTime = older.deviceTriggerLastUpdatedTime;
    }
    if (timeIn(fields.deviceTriggerLastPostedTime) < timeIn(older.deviceTriggerLastPostedTime)) {
      fields.deviceTriggerLastPostedTime = older.deviceTriggerLastPostedTime;
    }
    fields.deviceTriggers = sortCampaignByLastUpdatedTime(merged(older.campaigns(), fields.campaigns()));
    fields.deviceTriggerStatus = std::make_shared<const zn::StatusList>(addedUp(older.statuses(), fields.statuses()));
    fields.deviceTriggerEvents = getTriggerEvents(fields.campaigns());
  });
}

/// A record that is shown no later than the older one of its campaign is part of it already: the process ended after
/// the file had taken it in.
zn::StatusList ZNDeviceTriggersDataManager::addedUp(const zn::StatusList& older, const zn::StatusList& newer) {
  zn::StatusList all = older;
  for (const auto& status : newer) {
    const auto known = std::find_if(all.begin(), all.end(),
                                    [&](const auto& each) { return each->campaignID() == status->campaignID(); });
    if (known == all.end()) {
      all.push_back(status);
    } else if (timeIn((*known)->lastShownTime()) < timeIn(status->lastShownTime())) {
      auto sum = std::make_shared<ZNDeviceTriggerStatus>(*status);
      sum->setNumberOfTimesShown(
          zn::boundedSum(timeIn((*known)->numberOfTimesShown()), timeIn(status->numberOfTimesShown())));
      *known = std::move(sum);
    }
  }
  return all;
}

std::string ZNDeviceTriggersDataManager::getDeviceTriggerFilePath() const {
  return zn::stringByAppendingPathComponent(ZNCoreUtils::getSDKLibraryDirectoryPath(), "ZinDeviceTriggers");
}

std::shared_ptr<ZNDeviceTriggers> ZNDeviceTriggersDataManager::activeDeviceTriggers() const {
  zn::Lock lock(mutex_);
  return activeDeviceTriggers_;
}

std::shared_ptr<ZNDeviceTriggers> ZNDeviceTriggersDataManager::activeDeviceTriggersOf(
    const zn::OwnerToken& owner) const {
  auto container = activeDeviceTriggers();  // before the question
  return owner.holds() ? container : nullptr;
}

void ZNDeviceTriggersDataManager::setActiveDeviceTriggers(const std::shared_ptr<ZNDeviceTriggers>& triggers) {
  auto present = triggers ? triggers : ZNDeviceTriggers::init();
  zn::Lock lock(mutex_);
  activeDeviceTriggers_.swap(present);
}

zn::Value ZNDeviceTriggersDataManager::getDeviceTriggerLastUpdatedTime() const {
  return zn::guarded(
      "getDeviceTriggerLastUpdatedTime", "exception while getting device trigger last sync time %@",
      [&] {
        const zn::Value time = activeDeviceTriggers()->fields().deviceTriggerLastUpdatedTime;
        return time.isNil() ? zn::Value(0) : time;
      },
      [] { return zn::Value(0); });
}

bool ZNDeviceTriggersDataManager::updateDeviceTriggersInPersistentStorage() {
  zn::log("Device Triggers -- Device Trigger File path : %@", getDeviceTriggerFilePath());
  std::string error;
  if (file_.save([this] { return activeDeviceTriggers(); }, error)) return true;
  zn::logError("Device triggers could not be saved: %@", error);
  return false;
}

void ZNDeviceTriggersDataManager::startOver() {
  file_.replaceUnread();  // first, so that no other save brings in what goes here
  setActiveDeviceTriggers(ZNDeviceTriggers::init());
}

void ZNDeviceTriggersDataManager::retryStorage() {
  zn::guarded("retryStorage", "exception while reading or saving device triggers again : %@", [&] {
    if (file_.retry()) updateDeviceTriggersInPersistentStorage();
  });
}

void ZNDeviceTriggersDataManager::forgetUnreadableFiles() {
  zn::guarded("forgetUnreadableFiles", "exception while removing unreadable device triggers : %@",
              [&] { file_.forgetUnreadable(); });
}

void ZNDeviceTriggersDataManager::saveDeviceTriggerCampaigns(const zn::Value& campaigns, bool updateLastSyncTime) {
  saveServerAnswer(activeDeviceTriggers(), campaigns, updateLastSyncTime, nullptr);
}

void ZNDeviceTriggersDataManager::saveServerAnswer(const std::shared_ptr<ZNDeviceTriggers>& container,
                                                   const zn::Value& campaigns, bool updateLastSyncTime,
                                                   const std::function<void(ZNDeviceTriggers::Fields&)>& limits) {
  zn::guarded(kSavingSelector, kSavingFailure, [&] {
    if (!container) return;
    const std::int64_t now = zn::millisecondsSince1970();
    const auto dropped = std::make_shared<zn::DroppedCampaigns>();
    const ZNDeviceTriggers::Fields present = container->fields();
    const bool takesNameless = present.campaigns().empty();
    const zn::CampaignList answer = campaignsIn(campaigns, takesNameless, present.campaigns(), dropped.get());
    for (const auto& campaign : answer) tellOfOddExpiry(*campaign);
    container->update([&](ZNDeviceTriggers::Fields& fields) {
      if (limits) limits(fields);
      zn::CampaignList all = merged(fields.campaigns(), answer);
      // Records are reconciled before expired campaigns go: theirs must not outlive them.
      fields.deviceTriggerStatus = std::make_shared<const zn::StatusList>(reconciled(fields.statuses(), all, now));
      fields.deviceTriggers = sortCampaignByLastUpdatedTime(withoutExpired(all, now, dropped.get()));
      fields.dropped = dropped;
      fields.deviceTriggerEvents = getTriggerEvents(fields.campaigns());
      // With the flag off a time of 0 stays 0: a user whom the server does not know asks for everything.
      if (updateLastSyncTime || timeIn(fields.deviceTriggerLastUpdatedTime) != 0) {
        fields.deviceTriggerLastUpdatedTime = now;
      }
    });
    zn::log("Device Triggers -- Device Trigger Events : %@", container->fields().deviceTriggerEvents);
    tellOfAnswer(campaigns.size(), *container);
    updateDeviceTriggersInPersistentStorage();
  });
}

zn::CampaignList ZNDeviceTriggersDataManager::updateDeviceTriggersFromServerResponse(const zn::Value& campaigns) const {
  return zn::guarded("updateDeviceTriggersFromServerResponse:", kSavingFailure, [&] {
    const auto fields = activeDeviceTriggers()->fields();
    return merged(fields.campaigns(), campaignsIn(campaigns, fields.campaigns().empty()));
  });
}

void ZNDeviceTriggersDataManager::updateStatusEntriesForCampaigns(const zn::CampaignList& campaigns) {
  zn::guarded("updateStatusEntriesForCampaigns:", kSavingFailure, [&] {
    const std::int64_t now = zn::millisecondsSince1970();
    activeDeviceTriggers()->update([&](ZNDeviceTriggers::Fields& fields) {
      fields.deviceTriggerStatus =
          std::make_shared<const zn::StatusList>(reconciled(fields.statuses(), campaigns, now));
    });
  });
}

zn::CampaignList ZNDeviceTriggersDataManager::merged(const zn::CampaignList& stored, const zn::CampaignList& answer) {
  zn::CampaignList result = stored;
  result.reserve(stored.size() + answer.size());
  // Where the list holds each campaign; a replaced one leaves an empty place until the end.
  std::unordered_map<zn::Value, std::vector<std::size_t>, zn::ValueHash> places;
  places.reserve(stored.size());
  for (std::size_t place = 0; place < stored.size(); ++place) {
    if (stored[place]) places[stored[place]->campaignID()].push_back(place);
  }
  for (const auto& campaign : answer) {
    if (!campaign) continue;
    // An empty store takes every campaign of the first answer, one without an id too; a filled one skips those, which
    // it could never replace again.
    if (!stored.empty()) {
      if (campaign->campaignID().isNil()) continue;
      std::vector<std::size_t>& held = places[campaign->campaignID()];
      for (const std::size_t place : held) result[place].reset();
      held.assign(1, result.size());
    }
    result.push_back(campaign);
  }
  std::erase(result, nullptr);
  return result;
}

zn::StatusList ZNDeviceTriggersDataManager::reconciled(const zn::StatusList& statuses,
                                                       const zn::CampaignList& campaigns, std::int64_t now) {
  if (statuses.empty()) return {};
  std::unordered_map<zn::Value, zn::CampaignList, zn::ValueHash> active;
  for (const auto& campaign : campaigns) {
    if (campaign && campaign->isActive()) active[campaign->campaignID()].push_back(campaign);
  }
  zn::StatusList kept;
  for (auto status : statuses) {
    if (!status) continue;
    const auto found = active.find(status->campaignID());
    bool isKept = true;
    if (found == active.end()) {
      isKept = !isOver(status->expiry(), now);
    } else {
      for (const auto& campaign : found->second) {
        if (isOver(campaign->expiry(), now)) {
          isKept = false;
        } else if (timeIn(status->expiry()) != timeIn(campaign->expiry())) {
          auto changed = std::make_shared<ZNDeviceTriggerStatus>(*status);
          changed->setExpiry(campaign->expiry());
          status = std::move(changed);
        }
      }
    }
    if (isKept) kept.push_back(std::move(status));
  }
  return kept;
}

zn::CampaignList ZNDeviceTriggersDataManager::removeExpiredCampaign(const zn::CampaignList& campaigns,
                                                                    std::int64_t now) {
  return zn::guarded("removeExpiredCampaign:", kSavingFailure, [&] { return withoutExpired(campaigns, now); });
}

zn::CampaignListPtr ZNDeviceTriggersDataManager::sortCampaignByLastUpdatedTime(zn::CampaignList campaigns) {
  std::erase(campaigns, nullptr);
  if (campaigns.empty()) return nullptr;
  struct Keyed {
    zn::Value updated;
    zn::Value priority;
    std::shared_ptr<ZNDeviceTriggerCampaign> campaign;
  };
  std::vector<Keyed> keyed;
  keyed.reserve(campaigns.size());
  for (auto& campaign : campaigns) {
    keyed.push_back({sortKey(campaign->lastUpdatedTime()), sortKey(campaign->priority()), campaign});
  }
  std::stable_sort(keyed.begin(), keyed.end(), [](const Keyed& a, const Keyed& b) {
    const auto order = zn::compareNumbers(a.updated, b.updated);
    return order != 0 ? order > 0 : zn::compareNumbers(a.priority, b.priority) > 0;
  });
  std::transform(keyed.begin(), keyed.end(), campaigns.begin(), [](Keyed& each) { return std::move(each.campaign); });
  return std::make_shared<const zn::CampaignList>(std::move(campaigns));
}

zn::Value ZNDeviceTriggersDataManager::getTriggerEvents(const zn::CampaignList& campaigns) {
  std::vector<zn::Value> events;
  std::unordered_set<zn::Value, zn::ValueHash> seen;
  for (const auto& campaign : campaigns) {
    if (!campaign) continue;
    const zn::Value event = campaign->triggerEvent();
    if (!event.isNil() && seen.insert(event).second) events.push_back(event);
  }
  return zn::Value::array(std::move(events)).mutableCopy();
}

zn::CampaignList ZNDeviceTriggersDataManager::getCampaignsForEvent(const zn::Value& event,
                                                                   const zn::Value& attributes) const {
  zn::CampaignList found;
  zn::guarded(
      "getCampaignsForEvent:withAttributes:",
      zn::FailureMessage("Device Triggers --exception while retrieving  device trigger satisfying Event %@ : %@", event,
                         zn::caught),
      [&] {
        zn::log("Device Triggers -- Checking Triggers for Event : %@ and Attributes : %@ ✅", event, attributes);
        const auto triggers = activeDeviceTriggers();
        const auto satisfies = [&](const ZNDeviceTriggerCampaign& campaign) {
          zn::log("Device Triggers -- Checking condition for Campaign ID %@", campaign.campaignID());
          return campaign.checkIfAttributeConditionSatisfiedForEvent(event, attributes);
        };
        // No campaign of another event can be satisfied, so the event's own decide. Only the log tells of the others.
        const bool tellsOfOthers = ZNLogger::sharedInstance()->isEnabled();
        const zn::CampaignList all = tellsOfOthers ? triggers->fields().campaigns() : zn::CampaignList();
        auto next = all.begin();
        const auto tellUpTo = [&](const std::shared_ptr<ZNDeviceTriggerCampaign>& campaign) {
          for (; next != all.end() && *next != campaign; ++next) satisfies(**next);
          if (next != all.end()) ++next;
        };
        for (const auto& campaign : triggers->campaignsForEvent(event)) {
          tellUpTo(campaign);
          if (!satisfies(*campaign)) continue;
          zn::log("Device Triggers -- %@ Campaign Satisfies trigger condition ✅", campaign->campaignID());
          found.push_back(campaign);
        }
        tellUpTo(nullptr);
      });
  return found;
}

std::shared_ptr<const ZNDeviceTriggerStatus> ZNDeviceTriggersDataManager::getStatusInstanceForCampaign(
    const ZNDeviceTriggerCampaign& campaign) const {
  return zn::guarded(
      "getStatusInstanceForCampaign:",
      zn::FailureMessage("Device Triggers --exception while getting status device trigger for campaignID %@ : %@",
                         zn::caught, campaign.campaignID()),
      [&]() -> std::shared_ptr<const ZNDeviceTriggerStatus> {
        if (campaign.campaignID().isNil()) return nullptr;
        auto status = activeDeviceTriggers()->statusForCampaign(campaign.campaignID());
        return status ? status : freshStatus(campaign);
      });
}

void ZNDeviceTriggersDataManager::updateCampaignShownForCampaign(const ZNDeviceTriggerCampaign& campaign) {
  updateCampaignShownForCampaign(campaign, activeDeviceTriggers());
}

void ZNDeviceTriggersDataManager::updateCampaignShownForCampaign(const ZNDeviceTriggerCampaign& campaign,
                                                                 const std::shared_ptr<ZNDeviceTriggers>& container) {
  zn::guarded("updateCampaignShownForCampaign:", "Device Triggers --exception while updating status device trigger %@",
              [&] {
                if (!container || campaign.campaignID().isNil()) return;
                const std::int64_t now = zn::millisecondsSince1970();
                container->update([&](ZNDeviceTriggers::Fields& fields) { countShowing(fields, campaign, now); });
                updateDeviceTriggersInPersistentStorage();
              });
}

void ZNDeviceTriggersDataManager::countShowing(ZNDeviceTriggers::Fields& fields,
                                               const ZNDeviceTriggerCampaign& campaign, std::int64_t now) {
  zn::StatusList statuses = fields.statuses();
  bool isKnown = false;
  for (auto& status : statuses) {
    if (status->campaignID() != campaign.campaignID()) continue;
    auto changed = std::make_shared<ZNDeviceTriggerStatus>(*status);
    changed->setNumberOfTimesShown(zn::boundedSum(timeIn(status->numberOfTimesShown()), 1));
    changed->setLastShownTime(now);
    fields.deviceTriggerLastPostedTime = now;
    status = std::move(changed);
    isKnown = true;
  }
  if (!isKnown) {
    // The first showing is stamped when it is to appear, later ones when they are posted; the delays count from there.
    auto status = freshStatus(campaign);
    const double shown = static_cast<double>(campaign.triggerDelay().longLongValue()) + static_cast<double>(now);
    status->setNumberOfTimesShown(1);
    status->setLastShownTime(zn::Value(shown).longLongValue());
    fields.deviceTriggerLastPostedTime = status->lastShownTime();
    statuses.push_back(std::move(status));
  }
  fields.deviceTriggerStatus = std::make_shared<const zn::StatusList>(std::move(statuses));
}
