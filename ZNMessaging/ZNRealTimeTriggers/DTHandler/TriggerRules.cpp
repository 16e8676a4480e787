#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/TriggerRules.h"

#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/TriggerNumbers_p.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZintarCore/ZNDateUtils.h"

namespace zn {

namespace {

// Texts are made only where they are wanted.

Verdict typeRule(const RuleInput& input) {
  const ZNDeviceTriggerCampaign& campaign = input.campaign;
  Verdict made{.passes = campaign.campaignType() == 0};
  if (!input.wantsTexts) return made;
  made.line = made.passes ? zn::format("Device Triggers -- Campaign(%@) Type : General ✅", campaign.campaignID())
                          : zn::format("Device Triggers -- Not Posting DT(%@) as Type is Test, current type : %u 🛑",
                                       campaign.campaignID(), static_cast<std::uint32_t>(campaign.campaignType()));
  made.because = zn::format("type %d; only general campaigns (type 0) are shown", campaign.campaignType());
  return made;
}

Verdict statusRule(const RuleInput& input) {
  const ZNDeviceTriggerCampaign& campaign = input.campaign;
  Verdict made{.passes = campaign.isActive()};
  if (!input.wantsTexts) return made;
  made.line =
      made.passes
          ? zn::format("Device Triggers -- Campaign(%@) Status : active ✅", campaign.campaignID())
          : zn::format("Device Triggers -- Not Posting DT(%@) as status is not active, current status : %@ 🛑",
                       campaign.campaignID(), campaign.status());
  made.because = zn::format("status \"%@\"; must be \"active\"", campaign.status());
  return made;
}

Verdict expiryRule(const RuleInput& input) {
  const ZNDeviceTriggerCampaign& campaign = input.campaign;
  const std::int64_t shownAt = boundedSum(campaign.triggerDelay().longLongValue(), input.now);
  const std::int64_t expiry = campaign.expiry().longLongValue();
  Verdict made{.passes = shownAt <= expiry};
  if (!input.wantsTexts) return made;
  // The pass line ends in a blank; log readers match it so.
  made.line = zn::format(made.passes ? "Device Triggers -- Campaign(%@) Expired : NO ✅ "
                                     : "Device Triggers -- Not Posting DT(%@) as it has expired 🛑",
                         campaign.campaignID());
  made.because = zn::format("would be shown at %ld ms, expires at %ld ms", shownAt, expiry);
  return made;
}

Verdict syncAgeRule(const RuleInput& input) {
  const ZNDeviceTriggerCampaign& campaign = input.campaign;
  const std::int64_t last = numberOrNil(input.lastSynchronised).longLongValue();
  const std::int64_t validUntil = boundedSum(campaign.maxSyncDelay().longLongValue(), last);
  Verdict made{.passes = last == 0 || validUntil >= input.now};
  if (!input.wantsTexts) return made;
  made.line = made.passes
                  ? zn::format("Device Triggers -- Campaign(%@) Max Sync Delay passed ✅", campaign.campaignID())
                  : zn::format(
                        "Device Triggers -- Not Posting DT(%@) as it was not synced before campaign Sync Delay "
                        "Expiry : (%@ + %@ = %ld) now : %ld 🛑",
                        campaign.campaignID(), campaign.maxSyncDelay(), input.lastSynchronised, validUntil, input.now);
  made.because =
      last == 0 ? "never synchronised, so the age does not count"
                : zn::format("synchronised at %ld ms, valid until %ld ms, now %ld ms", last, validUntil, input.now);
  return made;
}

Verdict passedWithoutRecord(const RuleInput& input) {
  return {.passes = true, .because = input.wantsTexts ? "no record" : ""};
}

Verdict campaignDelayRule(const RuleInput& input) {
  if (!input.status) return passedWithoutRecord(input);
  const ZNDeviceTriggerCampaign& campaign = input.campaign;
  const Value shown = input.status->lastShownTime();
  const bool isFirst = shown == Value(0);
  const std::int64_t again = isFirst ? 0 : boundedSum(campaign.campaignDelay().longLongValue(), shown.longLongValue());
  Verdict made{.passes = isFirst || again <= input.now};
  if (!made.passes) made.passesAt = again;
  if (!input.wantsTexts) return made;
  made.line = made.passes ? zn::format("Device Triggers -- Campaign(%@) Last Shown Check Passed ✅%@",
                                       campaign.campaignID(), isFirst ? " " : "")
                          : zn::format(
                                "Device Triggers -- Not Posting DT(%@) as it was posted before Campaign Level Delay "
                                ": (%@ + %@ = %ld) now : %ld 🛑",
                                campaign.campaignID(), campaign.campaignDelay(), shown, again, input.now);
  made.because = isFirst ? "never shown"
                         : zn::format("last shown at %@ ms, again from %ld ms on, now %ld ms", shown, again, input.now);
  return made;
}

Verdict maxTimesRule(const RuleInput& input) {
  if (!input.status) return passedWithoutRecord(input);
  const ZNDeviceTriggerCampaign& campaign = input.campaign;
  const std::int64_t maximum = campaign.maxTimes().longLongValue();
  if (maximum == ZNDeviceTriggerCampaign::kUnlimited) {
    if (!input.wantsTexts) return {.passes = true};
    return {.passes = true,
            .line = zn::format("Device Triggers -- Campaign(%@) Max Times check Passed ✅", campaign.campaignID()),
            .because = "any number of times"};
  }
  const Value times = input.status->numberOfTimesShown();
  const std::int64_t shown = times.longLongValue();
  Verdict made{.passes = maximum > shown};
  if (!input.wantsTexts) return made;
  made.line =
      made.passes
          ? zn::format("Device Triggers -- Campaign(%@) Max Times check Passed | Number of times shown : %ld ✅",
                       campaign.campaignID(), shown)
          : zn::format("Device Triggers -- Not Posting DT(%@) as it has been posted max number of times : %@ 🛑",
                       campaign.campaignID(), times);
  made.because = zn::format("shown %ld of at most %ld times", shown, maximum);
  return made;
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
  const double last = numberOrNil(lastPosted).doubleValue();
  if (last == 0) return {.passes = true, .because = wantsTexts ? "nothing was posted yet" : ""};
  const double delay = numberOrNil(globalDelay).doubleValue();
  const double again = (delay + last) / 1000.0;
  Verdict made{.passes = !(again > now)};
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
