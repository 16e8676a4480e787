// What a server answer holds, and what is not kept of it.

#include <unordered_map>
#include <utility>

#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/TriggerNumbers_p.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Unicode.h"
#include "ZintarCore/ZNLogger.h"

namespace {

/// A value for a message: on one line, and no longer than a line should be.
std::string shown(const zn::Value& value) {
  constexpr std::size_t longest = 60;
  std::string text = zn::jsonText(value);
  if (text.size() > longest) text = zn::sanitizedUtf8(text.substr(0, longest)) + "…";
  return text;
}

template <class Describe>
void note(zn::DroppedCampaigns* dropped, const Describe& describe) {
  if (!dropped) return;
  if (dropped->described.size() < zn::DroppedCampaigns::kMostDescribed) dropped->described.push_back(describe());
  ++dropped->count;
}

bool isStopped(const ZNDeviceTriggerCampaign& campaign) {
  const zn::Value status = campaign.status();
  return status.isString() && (status.string() == "stopped" || status.string() == "expired");
}

std::string whyExpired(const zn::Value& expiry, std::int64_t now) {
  if (expiry.isNil()) return "it has no \"expiry\", which counts as expired";
  if (!zn::holdsNumber(expiry)) return "its \"expiry\" is " + shown(expiry) + ", no number";
  // Thirty years from 2001 on, were it seconds.
  const std::int64_t time = zn::timeIn(expiry);
  const bool looksLikeSeconds = time > 1'000'000'000 && time < 2'000'000'000;
  return zn::format("it expired at %@ ms, now it is %ld ms%@", expiry, now,
                    looksLikeSeconds ? "; that looks like seconds, where milliseconds belong" : "");
}

zn::DroppedCampaign described(const ZNDeviceTriggerCampaign& campaign, std::int64_t now) {
  const std::string malformation = campaign.malformation();
  const zn::Value id = campaign.campaignID();
  return {.name = id.isNil() ? "a campaign without an id" : "campaign " + shown(id),
          .triggerEvent = campaign.triggerEvent(),
          .because = !malformation.empty() ? "it is malformed: " + malformation
                     : isStopped(campaign) ? "its status is " + shown(campaign.status())
                                           : whyExpired(campaign.expiry(), now)};
}

/// Stored campaigns by their ids, those without one left out: a synchronisation never replaces these.
class KnownCampaigns {
 public:
  explicit KnownCampaigns(const zn::CampaignList& stored) {
    byID_.reserve(stored.size());
    for (const auto& campaign : stored) {
      if (zn::Value id = campaign->campaignID()) byID_.try_emplace(std::move(id), campaign);
    }
  }
  std::shared_ptr<ZNDeviceTriggerCampaign> withID(const zn::Value& id) const {
    const auto found = byID_.find(id);
    return found == byID_.end() ? nullptr : found->second;
  }

 private:
  std::unordered_map<zn::Value, std::shared_ptr<ZNDeviceTriggerCampaign>, zn::ValueHash> byID_;
};

}  // namespace

zn::CampaignList ZNDeviceTriggersDataManager::campaignsIn(const zn::Value& answer, bool takesNameless,
                                                          const zn::CampaignList& stored,
                                                          zn::DroppedCampaigns* dropped) {
  zn::CampaignList campaigns;
  if (!answer.isNil() && !answer.isArray()) {
    note(dropped, [&] {
      return zn::DroppedCampaign{
          .name = "the whole answer", .triggerEvent = {}, .because = "\"campaigns\" is " + shown(answer) + ", no list"};
    });
  }
  const KnownCampaigns byID(stored);
  const auto sent = answer.elements();
  // Mostly all that came is compared with what came before.
  zn::CampaignList present;
  std::vector<zn::Value> sentBefore;
  for (const zn::Value& dictionary : sent) {
    present.push_back(byID.withID(dictionary.validObjectForKey("campaign_id")));
    sentBefore.push_back(present.back() ? present.back()->sentDictionary() : zn::nil);
  }
  std::size_t number = 0;
  for (const zn::Value& dictionary : sent) {
    zn::Value::prefetchAhead(sent, number);
    zn::Value::prefetchAhead(sentBefore, number);
    const auto& known = present[number++];
    if (dictionary.isDictionary() && (takesNameless || !dictionary.validObjectForKey("campaign_id").isNil())) {
      campaigns.push_back(ZNDeviceTriggerCampaign::initWithDictionary(dictionary, known));
      continue;
    }
    note(dropped, [&] {
      return zn::DroppedCampaign{
          .name = zn::format("entry %ld of the answer", number),
          .triggerEvent = dictionary.validObjectForKey("trigger_event_name"),
          .because = "it is malformed: " + shown(dictionary) +
                     (dictionary.isDictionary() ? " has no \"campaign_id\"" : " is no dictionary")};
    });
  }
  return campaigns;
}

zn::CampaignList ZNDeviceTriggersDataManager::withoutExpired(const zn::CampaignList& campaigns, std::int64_t now,
                                                             zn::DroppedCampaigns* dropped) {
  zn::CampaignList live;
  for (const auto& campaign : campaigns) {
    if (!campaign) continue;
    if (isStopped(*campaign) || zn::isOver(campaign->expiry(), now)) {
      note(dropped, [&] { return described(*campaign, now); });
    } else {
      live.push_back(campaign);
    }
  }
  return live;
}

void ZNDeviceTriggersDataManager::tellOfAnswer(std::size_t count, const ZNDeviceTriggers& container) {
  if (!ZNLogger::sharedInstance()->isEnabled()) return;
  const auto fields = container.fields();
  zn::logDetail("Device Triggers -- Campaigns that came: %ld, dropped: %ld, kept: %ld", count, fields.dropped->count,
                fields.campaigns().size());
  for (const zn::DroppedCampaign& each : fields.dropped->described) {
    zn::logDetail("Device Triggers -- Dropped %@: %@ 🛑", each.name, each.because);
  }
  const std::size_t others = fields.dropped->count - fields.dropped->described.size();
  if (others > 0) zn::logDetail("Device Triggers -- Dropped %ld more 🛑", others);
}
