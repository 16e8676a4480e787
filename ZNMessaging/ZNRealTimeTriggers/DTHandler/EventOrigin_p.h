#pragma once

// Where a tracked event came from.

#include <atomic>
#include <cstdint>
#include <memory>

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
  std::uint64_t user = 0;  ///< as `triggerGeneration` had it
  /// The campaign whose showing tracked the event, and its chain; both null for the events of everybody else.
  std::shared_ptr<const ZNDeviceTriggerCampaign> showing;
  std::shared_ptr<ShowingChain> chain;

  /// What this thread tracks now, or calls by itself, for the present user.
  static EventOrigin here();
  /// Whether showing that campaign tracked the event.
  bool isShowingOf(const ZNDeviceTriggerCampaign& campaign) const;
};

/// While it lives, the events of this thread are those that showing a campaign tracks.
class ShowingScope {
 public:
  ShowingScope(std::shared_ptr<const ZNDeviceTriggerCampaign> campaign, std::shared_ptr<ShowingChain> chain);
  ~ShowingScope();
  ShowingScope(const ShowingScope&) = delete;
  ShowingScope& operator=(const ShowingScope&) = delete;

 private:
  friend struct EventOrigin;
  std::shared_ptr<const ZNDeviceTriggerCampaign> campaign_;
  std::shared_ptr<ShowingChain> chain_;
  const ShowingScope* const outer_;
};

}  // namespace zn
