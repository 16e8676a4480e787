#pragma once

#include <atomic>
#include <memory>

#include "ZNMessaging/Utils/OwnerToken_p.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerCampaign.h"

namespace zn {

/// Campaigns that set off one another: showing one tracks events, and those fire the next. It begins with the one that
/// somebody else's event fired. Thread: any.
class ShowingChain {
 public:
  static constexpr int kMost = 3;

  bool isOver() const { return shown_ >= kMost; }
  /// Counts one more. False where it is over.
  bool takeNext() {
    int shown = shown_;
    while (shown < kMost && !shown_.compare_exchange_weak(shown, shown + 1)) {
    }
    return shown < kMost;
  }
  /// Logs the end, the first time that an event or a campaign is refused for it.
  void tellEnd(const Value& refused);

 private:
  std::atomic<int> shown_{1};
  std::atomic<bool> isTold_{false};
};

/// Goes with an event from its tracking to what is shown for it.
struct EventOrigin {
  OwnerToken owner = OwnerToken::ofTriggers();
  /// The campaign whose showing tracked the event, and its chain; both null for the events of everybody else.
  std::shared_ptr<const ZNDeviceTriggerCampaign> showing;
  std::shared_ptr<ShowingChain> chain;

  /// Of what this thread does now: as the innermost scope says, else for the present user.
  static EventOrigin here();
  /// Whether showing that campaign tracked the event.
  bool isShowingOf(const ZNDeviceTriggerCampaign& campaign) const;
};

/// While it lives, what this thread does and tracks is of that origin: around the steps that go on for an event, and
/// around what showing a campaign tracks.
class OriginScope {
 public:
  explicit OriginScope(EventOrigin origin);
  ~OriginScope();
  OriginScope(const OriginScope&) = delete;
  OriginScope& operator=(const OriginScope&) = delete;

  const EventOrigin& origin() const { return origin_; }

 private:
  const EventOrigin origin_;
  const OriginScope* const outer_;
};

}  // namespace zn
