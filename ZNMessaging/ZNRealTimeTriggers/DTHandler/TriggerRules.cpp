#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/TriggerRules.h"

#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/TriggerNumbers_p.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZintarCore/ZNDateUtils.h"

namespace zn {

namespace {

/// A verdict whose texts are made only where they are wanted.
template <class Line, class Because>
Verdict verdict(const RuleInput& input, bool passes, Line&& line, Because&& because,
                std::optional<double> passesAt = std::nullopt) {
  Verdict made;
  made.passes = passes;
  if (input.wantsTexts) {
    made.line = line();
    made.because = because();
  }
  if (!passes) made.passesAt = passesAt;
  return made;
}

Verdict typeRule(const RuleInput& input) {
  const ZNDeviceTriggerCampaign& campaign = input.campaign;
  const bool passes = campaign.campaignType() == 0;
  return verdict(
      input, passes,
      [&] {
        return passes ? zn::format("Device Triggers -- Campaign(%@) Type : General ✅", campaign.campaignID())
                      : zn::format("Device Triggers -- Not Posting DT(%@) as Type is Test, current type : %u 🛑",
                                   campaign.campaignID(), static_cast<std::uint32_t>(campaign.campaignType()));
      },
      [&] { return zn::format("type %d; only general campaigns (type 0) are shown", campaign.campaignType()); });
}

Verdict statusRule(const RuleInput& input) {
  const ZNDeviceTriggerCampaign& campaign = input.campaign;
  const bool passes = campaign.isActive();
  return verdict(
      input, passes,
      [&] {
        return passes ? zn::format("Device Triggers -- Campaign(%@) Status : active ✅", campaign.campaignID())
                      : zn::format(
                            "Device Triggers -- Not Posting DT(%@) as status is not active, current status : %@ 🛑",
                            campaign.campaignID(), campaign.status());
      },
      [&] { return zn::format("status \"%@\"; must be \"active\"", campaign.status()); });
}

Verdict expiryRule(const RuleInput& input) {
  const ZNDeviceTriggerCampaign& campaign = input.campaign;
  const std::int64_t shownAt = boundedSum(campaign.triggerDelay().longLongValue(), input.now);
  const std::int64_t expiry = campaign.expiry().longLongValue();
  const bool passes = shownAt <= expiry;
  return verdict(
      input, passes,
      [&] {
        // The pass line ends in a blank; log readers match it so.
        return passes
                   ? zn::format("Device Triggers -- Campaign(%@) Expired : NO ✅ ", campaign.campaignID())
                   : zn::format("Device Triggers -- Not Posting DT(%@) as it has expired 🛑", campaign.campaignID());
      },
      [&] { return zn::format("would be shown at %ld ms, expires at %ld ms", shownAt, expiry); });
}

Verdict syncAgeRule(const RuleInput& input) {
  const ZNDeviceTriggerCampaign& campaign = input.campaign;
  const std::int64_t last = numberOrNil(input.lastSynchronised).longLongValue();
  const std::int64_t validUntil = boundedSum(campaign.maxSyncDelay().longLongValue(), last);
  const bool passes = last == 0 || validUntil >= input.now;
  return verdict(
      input, passes,
      [&] {
        return passes
                   ? zn::format("Device Triggers -- Campaign(%@) Max Sync Delay passed ✅", campaign.campaignID())
                   : zn::format(
                         "Device Triggers -- Not Posting DT(%@) as it was not synced before campaign Sync Delay "
                         "Expiry : (%@ + %@ = %ld) now : %ld 🛑",
                         campaign.campaignID(), campaign.maxSyncDelay(), input.lastSynchronised, validUntil, input.now);
      },
      [&] {
        return last == 0
                   ? std::string("never synchronised, so the age does not count")
                   : zn::format("synchronised at %ld ms, valid until %ld ms, now %ld ms", last, validUntil, input.now);
      });
}

Verdict campaignDelayRule(const RuleInput& input) {
  const ZNDeviceTriggerCampaign& campaign = input.campaign;
  const auto passed = [&](const char* text) { return zn::format(text, campaign.campaignID()); };
  if (!input.status)
    return verdict(
        input, true, [] { return std::string(); }, [] { return std::string("no record"); });
  const Value shown = input.status->lastShownTime();
  if (shown == Value(0)) {
    return verdict(
        input, true, [&] { return passed("Device Triggers -- Campaign(%@) Last Shown Check Passed ✅ "); },
        [] { return std::string("never shown"); });
  }
  const std::int64_t again = boundedSum(campaign.campaignDelay().longLongValue(), shown.longLongValue());
  const bool passes = again <= input.now;
  return verdict(
      input, passes,
      [&] {
        return passes ? passed("Device Triggers -- Campaign(%@) Last Shown Check Passed ✅")
                      : zn::format(
                            "Device Triggers -- Not Posting DT(%@) as it was posted before Campaign Level Delay : "
                            "(%@ + %@ = %ld) now : %ld 🛑",
                            campaign.campaignID(), campaign.campaignDelay(), shown, again, input.now);
      },
      [&] { return zn::format("last shown at %@ ms, again from %ld ms on, now %ld ms", shown, again, input.now); },
      again);
}

Verdict maxTimesRule(const RuleInput& input) {
  const ZNDeviceTriggerCampaign& campaign = input.campaign;
  if (!input.status)
    return verdict(
        input, true, [] { return std::string(); }, [] { return std::string("no record"); });
  const std::int64_t maximum = campaign.maxTimes().longLongValue();
  if (maximum == ZNDeviceTriggerCampaign::kUnlimited) {
    return verdict(
        input, true,
        [&] { return zn::format("Device Triggers -- Campaign(%@) Max Times check Passed ✅", campaign.campaignID()); },
        [] { return std::string("any number of times"); });
  }
  const Value times = input.status->numberOfTimesShown();
  const std::int64_t shown = times.longLongValue();
  const bool passes = maximum > shown;
  return verdict(
      input, passes,
      [&] {
        return passes ? zn::format(
                            "Device Triggers -- Campaign(%@) Max Times check Passed | Number of times shown : %ld ✅",
                            campaign.campaignID(), shown)
                      : zn::format(
                            "Device Triggers -- Not Posting DT(%@) as it has been posted max number of times : %@ 🛑",
                            campaign.campaignID(), times);
      },
      [&] { return zn::format("shown %ld of at most %ld times", shown, maximum); });
}

constexpr Rule kRules[] = {{"type", typeRule},
                           {"status", statusRule},
                           {"expiry", expiryRule},
                           {"syncAge", syncAgeRule},
                           {"campaignDelay", campaignDelayRule},
                           {"maxTimes", maxTimesRule}};

}  // namespace

std::span<const Rule> postingRules() { return kRules; }

Verdict globalDelayRule(const Value& lastPosted, const Value& globalDelay, double now, bool wantsTexts) {
  Verdict made;
  const double last = numberOrNil(lastPosted).doubleValue();
  if (last == 0) {
    made.passes = true;
    made.because = wantsTexts ? "nothing was posted yet" : "";
    return made;
  }
  const double delay = numberOrNil(globalDelay).doubleValue();
  const double again = (delay + last) / 1000.0;
  made.passes = !(again > now);
  if (!made.passes) made.passesAt = delay + last;
  if (wantsTexts) {
    const auto clock = ZNDateUtils::dateFormatterForUsPosixLocaleWithFormat("HH:mm:ss -- dd-MM-yyyy", false)
                           .stringFromDate(Date{last / 1000.0});
    made.line = zn::format("Device Trigger Last Shown at %@ || And Global Delay : %0.1f sec", clock, delay / 1000.0);
    made.because = zn::format("last posted at %@ s, again from %@ s on, now %@ s", last / 1000.0, again, now);
  }
  return made;
}

}  // namespace zn
