#include "ZNMessaging/ZNInbox/ZNInboxStorage/InboxList.h"

#include <algorithm>
#include <limits>
#include <memory_resource>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "ZintarCore/ZNDateUtils.h"

namespace zn {

namespace {

struct Keyed {
  double received;
  std::shared_ptr<ZNInboxModel> entry;
};

/// A dateless entry sorts after every dated one.
double sortKey(const ZNInboxModel& entry) {
  const Value received = entry.receivedDate();
  return received.isDate() ? received.date().secondsSince1970 : -std::numeric_limits<double>::infinity();
}

using CampaignKey = ZNInboxModel::CampaignKey;

struct CampaignHash {
  std::size_t operator()(const CampaignKey& key) const noexcept { return key.hash; }
};

/// What replaced entries pass on to the new one.
struct Inherited {
  bool wasRead = false;
  Value clickedDate;
  Value receivedDate;

  void takeFrom(const ZNInboxModel& replaced) {
    if (replaced.isRead()) {
      wasRead = true;
      clickedDate = replaced.clickedDate();  // also a nil one: the last read copy decides
    }
    if (const Value received = replaced.receivedDate()) receivedDate = received;
  }

  void giveTo(ZNInboxModel& entry) const {
    if (wasRead) {
      entry.setIsRead(true);
      if (!clickedDate.isNil()) entry.setClickedDate(clickedDate);
    }
    if (!receivedDate.isNil()) entry.setReceivedDate(receivedDate);
  }
};

}  // namespace

InboxList sortedNewestFirst(InboxList list) {
  std::erase(list, nullptr);
  std::vector<Keyed> keyed;
  keyed.reserve(list.size());
  for (auto& entry : list) {
    const double key = sortKey(*entry);
    keyed.push_back({key, std::move(entry)});
  }
  const auto newerFirst = [](const Keyed& a, const Keyed& b) { return a.received > b.received; };
  // Lists mostly come sorted but for their end, where new entries were appended: only that end is sorted, then merged.
  const auto unsorted = std::is_sorted_until(keyed.begin(), keyed.end(), newerFirst);
  std::stable_sort(unsorted, keyed.end(), newerFirst);
  std::inplace_merge(keyed.begin(), unsorted, keyed.end(), newerFirst);
  std::transform(keyed.begin(), keyed.end(), list.begin(), [](Keyed& each) { return std::move(each.entry); });
  return list;
}

InboxList mergedWithNewEntries(const InboxList& stored, const InboxList& newEntries) {
  constexpr std::size_t none = std::numeric_limits<std::size_t>::max();
  // What `result` holds of a new campaign: its first and its last entry; `next` leads from one to the other.
  struct Holders {
    std::size_t first = none;
    std::size_t last = none;
  };
  std::pmr::monotonic_buffer_resource memory;  // freed at once, not entry by entry
  std::pmr::unordered_map<CampaignKey, Holders, CampaignHash> holders(newEntries.size(), &memory);
  std::vector<Holders*> holdersOf;  // of each new entry
  holdersOf.reserve(newEntries.size());
  for (const auto& entry : newEntries) holdersOf.push_back(entry ? &holders[entry->campaignKey()] : nullptr);

  InboxList result;
  result.reserve(stored.size() + newEntries.size());
  std::vector<std::size_t> next(stored.size(), none);
  for (const auto& entry : stored) {
    if (!entry) continue;
    const auto found = holders.find(entry->campaignKey());
    if (found != holders.end()) {
      Holders& held = found->second;
      (held.first == none ? held.first : next[held.last]) = result.size();
      held.last = result.size();
    }
    result.push_back(entry);
  }
  for (std::size_t index = 0; index < newEntries.size(); ++index) {
    const auto& entry = newEntries[index];
    if (!entry) continue;
    Holders& held = *holdersOf[index];
    Inherited inherited;
    for (std::size_t place = held.first; place != none; place = place < next.size() ? next[place] : none) {
      inherited.takeFrom(*result[place]);
      result[place].reset();  // leaves an empty place until the end
    }
    inherited.giveTo(*entry);
    held = {result.size(), result.size()};
    result.push_back(entry);
  }
  std::erase(result, nullptr);
  return result;
}

InboxList mergedWithServerEntries(const InboxList& stored, const InboxList& serverEntries) {
  InboxList result = stored;
  std::erase(result, nullptr);
  result.reserve(stored.size() + serverEntries.size());
  std::pmr::monotonic_buffer_resource memory;
  std::pmr::unordered_set<CampaignKey, CampaignHash> present(stored.size() + serverEntries.size(), &memory);
  for (const auto& entry : result) present.insert(entry->campaignKey());
  for (const auto& entry : serverEntries) {
    if (entry && present.insert(entry->campaignKey()).second) result.push_back(entry);
  }
  return result;
}

InboxList withoutExpired(const InboxList& list, Date now, double defaultPeriod) {
  InboxList kept;
  kept.reserve(list.size());
  for (const auto& entry : list) {
    if (!entry || entry->notificationPayloadDict().isNil()) continue;
    const Value expiry = entry->inboxExpiryDate();
    const Value received = entry->receivedDate();
    if (expiry.isNil() && received.isNil()) {
      entry->setReceivedDate(now);
      kept.push_back(entry);
      continue;
    }
    const Date end = expiry.isNil() ? Date{received.date().secondsSince1970 + defaultPeriod} : expiry.date();
    if (ZNDateUtils::isDate1(end, now)) kept.push_back(entry);
  }
  return kept;
}

}  // namespace zn
