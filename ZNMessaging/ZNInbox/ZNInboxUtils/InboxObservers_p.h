#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "ZNMessaging/ZNInbox/InboxObserver.h"
#include "ZNMessaging/ZNInbox/ZNInboxStorage/InboxList.h"
#include "ZNPlatform/Foundation/Mutex.h"

namespace zn {

/// Tells observers what changed in the inbox: compares the list with the one that was told last, so a change is told
/// once, whoever notices it. Only what lies between the first and the last entry that are not as they were told is
/// compared in full; each of the others costs a look at it. Thread: any.
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
  struct Told {
    std::shared_ptr<ZNInboxModel> entry;
    ZNInboxModel::Seen seen;
  };
  using AllTold = std::vector<Told>;
  using Entries = std::span<const std::shared_ptr<ZNInboxModel>>;
  struct Pending {
    InboxChange change;
    std::vector<Weak> observers;  ///< those who were there when it happened
  };

  void noteChange();
  void tellNext();
  bool isRegistered(const std::shared_ptr<InboxObserver>& observer);
  bool isRegisteredLocked(const std::shared_ptr<InboxObserver>& observer) const ZN_REQUIRES(mutex_);
  void forgetIfUnobservedLocked() ZN_REQUIRES(mutex_);
  InboxChange changeSinceToldLocked(Entries now) ZN_REQUIRES(mutex_);
  static AllTold look(Entries entries);
  void replaceToldLocked(std::size_t place, std::size_t count, AllTold by) ZN_REQUIRES(mutex_);
  static bool shareNoCampaign(std::span<const Told> before, std::span<const Told> after, std::span<const Told> rest);
  static InboxChange changeBetween(std::span<const Told> before, std::span<const Told> after);

  const Newest newest_;
  std::atomic<bool> observed_{false};
  Mutex mutex_;
  std::vector<Weak> observers_ ZN_GUARDED_BY(mutex_);
  AllTold told_ ZN_GUARDED_BY(mutex_);
  std::deque<Pending> pending_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zn
