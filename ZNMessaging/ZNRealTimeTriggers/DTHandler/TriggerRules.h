#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggers.h"
#include "ZNPlatform/Export.h"

/// Whether a campaign may be shown now, as data: pure decisions in the order in which they are taken, with the clock
/// passed in. Evaluation walks the table and stops at the first that fails; explaining walks it to the end.
namespace zn {

/// What a decision may look at. Times are milliseconds since 1970.
struct RuleInput {
  const ZNDeviceTriggerCampaign& campaign;
  const ZNDeviceTriggerStatus* status = nullptr;  ///< null: no record, which the rules about showings let pass
  Value lastSynchronised;
  std::int64_t now = 0;
  bool wantsTexts = true;  ///< off: `line` and `because` stay empty, and a decision costs no formatting
};

struct Verdict {
  bool passes = false;
  std::string line{};     ///< for the log; a refusal is traceable to its rule by it
  std::string because{};  ///< the numbers compared, for people
  /// Of a refusal that time alone lifts: from when on, in milliseconds since 1970.
  std::optional<double> passesAt{};
};

struct Rule {
  const char* name;
  Verdict (*decide)(const RuleInput& input);
};

/// "type", "status", "expiry", "syncAge", "campaignDelay", "maxTimes", in this order.
ZN_EXPORT std::span<const Rule> postingRules();

/// The rule about any two notifications, asked once an event. Delays and times are milliseconds, `now` is seconds since
/// 1970. The line is empty where nothing was ever posted.
ZN_EXPORT Verdict globalDelayRule(const Value& lastPosted, const Value& globalDelay, double now,
                                  bool wantsTexts = true);

}  // namespace zn
