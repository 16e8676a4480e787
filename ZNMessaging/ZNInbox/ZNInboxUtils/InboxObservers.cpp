#include "ZNMessaging/ZNInbox/ZNInboxUtils/InboxObservers_p.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/SameOwner_p.h"
#include "ZintarCore/ExceptionGuard.h"

namespace zn {

InboxObserver::~InboxObserver() = default;

void InboxObservers::add(const std::shared_ptr<InboxObserver>& observer) {
  if (!observer) return;
  const Lock lock(mutex_);
  if (isRegisteredLocked(observer)) return;
  observed_ = true;  // first, so that whoever changes the list after the look below comes here
  if (observers_.empty()) told_ = look();
  observers_.emplace_back(observer);
}

void InboxObservers::remove(const std::shared_ptr<InboxObserver>& observer) {
  const Lock lock(mutex_);
  std::erase_if(observers_, [&](const Weak& each) { return each.expired() || sameOwner(each, observer); });
  observed_ = !observers_.empty();
}

bool InboxObservers::isRegistered(const std::shared_ptr<InboxObserver>& observer) {
  const Lock lock(mutex_);
  return isRegisteredLocked(observer);
}

bool InboxObservers::isRegisteredLocked(const std::shared_ptr<InboxObserver>& observer) const {
  return std::any_of(observers_.begin(), observers_.end(), [&](const Weak& each) { return sameOwner(each, observer); });
}

void InboxObservers::noteChange() {
  {
    const Lock lock(mutex_);
    std::erase_if(observers_, [](const Weak& each) { return each.expired(); });
    observed_ = !observers_.empty();
    if (observers_.empty()) return;
    // Looked up under the lock, so that no older list is compared after a newer one.
    std::vector<Seen> now = look();
    InboxChange change = changeBetween(told_, now);
    told_ = std::move(now);
    if (change.added.empty() && change.read.empty() && change.removed.empty()) return;
    pending_.push_back({std::move(change), observers_});
  }
  dispatchAsync(Queue::main, [self = shared_from_this()] { self->tellNext(); });
}

void InboxObservers::tellNext() {
  Pending next;
  {
    const Lock lock(mutex_);
    next = std::move(pending_.front());
    pending_.pop_front();
  }
  for (const Weak& each : next.observers) {
    const auto observer = each.lock();
    if (!observer || !isRegistered(observer)) continue;
    guarded("inboxChanged:", "Exception in an observer of the inbox : %@",
            [&] { observer->inboxChanged(next.change); });
  }
}

std::vector<InboxObservers::Seen> InboxObservers::look() const {
  std::vector<Seen> seen;
  const InboxListPtr list = newest_();
  if (!list) return seen;
  seen.reserve(list->size());
  for (const auto& entry : *list) seen.push_back({entry->campaignID(), entry->isRead()});
  return seen;
}

InboxChange InboxObservers::changeBetween(const std::vector<Seen>& before, const std::vector<Seen>& after) {
  InboxChange change;
  // What is left of the entries before, by campaign: entries of one campaign stand for each other in their order.
  struct Left {
    std::vector<bool> isRead;
    std::size_t next = 0;
  };
  std::unordered_map<Value, Left, ValueHash> left(before.size());
  for (const Seen& each : before) left[each.campaignID].isRead.push_back(each.isRead);
  for (const Seen& each : after) {
    change.unreadCount += each.isRead ? 0 : 1;
    const auto found = left.find(each.campaignID);
    if (found == left.end() || found->second.next == found->second.isRead.size()) {
      change.added.push_back(each.campaignID);
    } else if (!found->second.isRead[found->second.next++] && each.isRead) {
      change.read.push_back(each.campaignID);
    }
  }
  for (auto each = before.rbegin(); each != before.rend(); ++each) {
    Left& states = left[each->campaignID];
    if (states.next == states.isRead.size()) continue;
    states.isRead.pop_back();
    change.removed.push_back(each->campaignID);
  }
  std::reverse(change.removed.begin(), change.removed.end());
  return change;
}

}  // namespace zn
