#include "ZNMessaging/ZNInbox/ZNInboxUtils/InboxObservers_p.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/SameOwner_p.h"
#include "ZintarCore/ExceptionGuard.h"

namespace zn {

InboxObserver::~InboxObserver() = default;

namespace {

/// A list may be missing, which counts as empty; this keeps it alive.
InboxListPtr listOrEmpty(InboxListPtr list) { return list ? std::move(list) : std::make_shared<const InboxList>(); }

}  // namespace

void InboxObservers::add(const std::shared_ptr<InboxObserver>& observer) {
  if (!observer) return;
  const Lock lock(mutex_);
  if (isRegisteredLocked(observer)) return;
  observed_ = true;  // first, so that whoever changes the list after the look below comes here
  if (observers_.empty()) told_ = look(*listOrEmpty(newest_()));
  observers_.emplace_back(observer);
}

void InboxObservers::remove(const std::shared_ptr<InboxObserver>& observer) {
  const Lock lock(mutex_);
  std::erase_if(observers_, [&](const Weak& each) { return each.expired() || sameOwner(each, observer); });
  forgetIfUnobservedLocked();
}

void InboxObservers::forgetIfUnobservedLocked() {
  observed_ = !observers_.empty();
  if (!observed_) told_ = {};  // it holds entries that the inbox may give up
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
    forgetIfUnobservedLocked();
    if (observers_.empty()) return;
    // Looked up under the lock, so that no older list is compared after a newer one.
    const InboxListPtr now = listOrEmpty(newest_());
    InboxChange change = changeSinceToldLocked(*now);
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

/// Whether none of `rest` is of a campaign that the others have. Entries of one campaign stand for each other in their
/// order: where one of them changed, those after it belong to the comparison.
bool InboxObservers::shareNoCampaign(std::span<const Told> before, std::span<const Told> after,
                                     std::span<const Told> rest) {
  std::unordered_set<std::size_t> hashes;
  for (const Told& each : before) hashes.insert(each.seen.campaign.hash);
  for (const Told& each : after) hashes.insert(each.seen.campaign.hash);
  return std::ranges::none_of(rest, [&](const Told& each) { return hashes.contains(each.seen.campaign.hash); });
}

InboxChange InboxObservers::changeSinceToldLocked(Entries now) {
  const auto isAsTold = [](const Told& told, const auto& entry) {
    return told.entry == entry && entry->isStill(told.seen);
  };
  const auto [first, firstNow] = std::mismatch(told_.begin(), told_.end(), now.begin(), now.end(), isAsTold);
  std::span<const Told> before(first, told_.end());
  Entries after(firstNow, now.end());
  const auto [last, lastNow] = std::mismatch(before.rbegin(), before.rend(), after.rbegin(), after.rend(), isAsTold);
  const auto same = static_cast<std::size_t>(last - before.rbegin());
  AllTold fresh = look(after.first(after.size() - same));
  if (shareNoCampaign(before.first(before.size() - same), fresh, before.last(same))) {
    before = before.first(before.size() - same);
  } else {
    fresh = look(after);
  }
  InboxChange change = changeBetween(before, fresh);
  replaceToldLocked(static_cast<std::size_t>(first - told_.begin()), before.size(), std::move(fresh));
  change.unreadCount =
      static_cast<std::size_t>(std::ranges::count_if(told_, [](const Told& each) { return !each.seen.isRead; }));
  return change;
}

void InboxObservers::replaceToldLocked(std::size_t place, std::size_t count, AllTold by) {
  const auto common = static_cast<std::ptrdiff_t>(std::min(count, by.size()));
  const auto begin = told_.begin() + static_cast<std::ptrdiff_t>(place);
  const auto end = begin + static_cast<std::ptrdiff_t>(count);
  const auto rest = told_.erase(std::move(by.begin(), by.begin() + common, begin), end);
  told_.insert(rest, std::move_iterator(by.begin() + common), std::move_iterator(by.end()));
}

InboxObservers::AllTold InboxObservers::look(Entries entries) {
  AllTold told;
  told.reserve(entries.size());
  for (const auto& entry : entries) told.push_back({entry, entry->seen()});
  return told;
}

InboxChange InboxObservers::changeBetween(std::span<const Told> before, std::span<const Told> after) {
  InboxChange change;
  // What is left of the entries before, by campaign: entries of one campaign stand for each other in their order.
  struct Left {
    std::vector<bool> isRead;
    std::size_t next = 0;
  };
  std::unordered_map<Value, Left, ValueHash> left(before.size());
  for (const auto& [entry, seen] : before) left[seen.campaign.id].isRead.push_back(seen.isRead);
  for (const auto& [entry, seen] : after) {
    const auto found = left.find(seen.campaign.id);
    if (found == left.end() || found->second.next == found->second.isRead.size()) {
      change.added.push_back(seen.campaign.id);
    } else if (!found->second.isRead[found->second.next++] && seen.isRead) {
      change.read.push_back(seen.campaign.id);
    }
  }
  for (auto each = before.rbegin(); each != before.rend(); ++each) {
    Left& states = left[each->seen.campaign.id];
    if (states.next == states.isRead.size()) continue;
    states.isRead.pop_back();
    change.removed.push_back(each->seen.campaign.id);
  }
  std::reverse(change.removed.begin(), change.removed.end());
  return change;
}

}  // namespace zn
