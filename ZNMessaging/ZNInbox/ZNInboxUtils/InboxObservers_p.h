#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <vector>

#include "ZNMessaging/ZNInbox/InboxObserver.h"
#include "ZNMessaging/ZNInbox/ZNInboxStorage/InboxList.h"
#include "ZNPlatform/Foundation/Mutex.h"

namespace zn {

/// Tells observers what changed in the inbox: compares the list with the one that was told last, so a change is told
/// once, whoever notices it. Thread: any.
class InboxObservers : public std::enable_shared_from_this<InboxObservers> {
 public:
  using Newest = std::function<InboxListPtr()>;

  explicit InboxObservers(Newest newest) : newest_(std::move(newest)) {}
  void add(const std::shared_ptr<InboxObserver>& observer);
  void remove(const std::shared_ptr<InboxObserver>& observer);
  /// To be called without a lock after every change. Costs one load while nobody observes.
  void listChanged() {
    if (observed_.load(std::memory_order_relaxed)) noteChange();
  }

 private:
  using Weak = std::weak_ptr<InboxObserver>;
  struct Seen {
    Value campaignID;
    bool isRead;
  };
  struct Pending {
    InboxChange change;
    std::vector<Weak> observers;  ///< those who were there when it happened
  };

  void noteChange();
  void tellNext();
  bool isRegistered(const std::shared_ptr<InboxObserver>& observer);
  bool isRegisteredLocked(const std::shared_ptr<InboxObserver>& observer) const ZN_REQUIRES(mutex_);
  std::vector<Seen> look() const;
  static InboxChange changeBetween(const std::vector<Seen>& before, const std::vector<Seen>& after);

  const Newest newest_;
  std::atomic<bool> observed_{false};
  Mutex mutex_;
  std::vector<Weak> observers_ ZN_GUARDED_BY(mutex_);
  std::vector<Seen> told_ ZN_GUARDED_BY(mutex_);
  std::deque<Pending> pending_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zn
