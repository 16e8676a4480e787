#include "ZNMessaging/ZNInbox/ZNInboxStorage/InboxList.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <functional>
#include <limits>
#include <utility>

#include "ZintarCore/ZNDateUtils.h"

namespace zn {

namespace {

constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

/// Calls `look` with each entry and its place, null ones left out. Entries lie scattered in memory, so that looking at
/// them is mostly waiting for it: those a few places ahead are asked for meanwhile.
template <class Look>
void forEachEntry(const InboxList& list, Look&& look) {
  constexpr std::size_t kAhead = 8;
  constexpr std::size_t kCacheLine = 64;
  for (std::size_t place = 0; place < list.size(); ++place) {
    const auto* ahead = place + kAhead < list.size() ? list[place + kAhead].get() : nullptr;
    if (ahead) {
      __builtin_prefetch(ahead);
      __builtin_prefetch(reinterpret_cast<const char*>(ahead) + kCacheLine);
    }
    if (list[place]) look(list[place], place);
  }
}

/// The campaigns of a list, numbered from 0 in the order of their first entries: a hash table of numbers alone, which
/// stays in the processor's cache where one of nodes would not. Ids are compared only where their hashes are equal.
class Campaigns {
 public:
  explicit Campaigns(const InboxList& list)
      : numbers_(list.size(), kNone), slots_(std::bit_ceil(2 * list.size() + 1), kNone) {
    campaigns_.reserve(list.size());
    forEachEntry(list, [this](const auto& entry, std::size_t place) {
      const std::size_t hash = entry->campaignHash();
      std::uint32_t& slot = slots_[slotOf(hash, *entry)];
      if (slot == kNone) {
        slot = static_cast<std::uint32_t>(campaigns_.size());
        campaigns_.push_back({hash, entry.get()});
      }
      numbers_[place] = slot;
    });
  }

  std::size_t count() const { return campaigns_.size(); }
  /// That of the list's entry at a place; there must be one.
  std::uint32_t numberAt(std::size_t place) const { return numbers_[place]; }
  /// That of any entry's campaign, or kNone.
  std::uint32_t numberOf(const ZNInboxModel& entry) const { return slots_[slotOf(entry.campaignHash(), entry)]; }

 private:
  struct Campaign {
    std::size_t hash;
    const ZNInboxModel* first;
  };

  /// Where that campaign is, or else belongs.
  std::size_t slotOf(std::size_t hash, const ZNInboxModel& entry) const {
    const std::size_t mask = slots_.size() - 1;
    // Numbers are their own hashes: multiplied, so that those in a row spread.
    for (std::size_t slot = hash * 0x9E3779B97F4A7C15u >> 32 & mask;; slot = (slot + 1) & mask) {
      if (slots_[slot] == kNone) return slot;
      const Campaign& there = campaigns_[slots_[slot]];
      if (there.hash == hash && there.first->isOfSameCampaign(entry)) return slot;
    }
  }

  std::vector<std::uint32_t> numbers_;
  std::vector<std::uint32_t> slots_;
  std::vector<Campaign> campaigns_;
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
  struct Keyed {
    double received;
    std::shared_ptr<ZNInboxModel> entry;
  };
  std::erase(list, nullptr);
  std::vector<double> received;
  received.reserve(list.size());
  forEachEntry(list, [&](const auto& entry, std::size_t) { received.push_back(entry->receivedSeconds()); });
  // Lists mostly come sorted but for their end, where new entries were appended: only that end is taken out, sorted and
  // put in from behind, so that what is newer than all of it stays where it is.
  auto sorted = static_cast<std::size_t>(std::is_sorted_until(received.begin(), received.end(), std::greater<>()) -
                                         received.begin());
  std::vector<Keyed> rest;
  rest.reserve(list.size() - sorted);
  for (std::size_t place = sorted; place < list.size(); ++place) {
    rest.push_back({received[place], std::move(list[place])});
  }
  const auto newerFirst = [](const Keyed& a, const Keyed& b) { return a.received > b.received; };
  if (!std::ranges::is_sorted(rest, newerFirst)) std::ranges::stable_sort(rest, newerFirst);
  for (std::size_t place = list.size(); !rest.empty();) {
    if (sorted > 0 && rest.back().received > received[sorted - 1]) {
      list[--place] = std::move(list[--sorted]);
    } else {
      list[--place] = std::move(rest.back().entry);
      rest.pop_back();
    }
  }
  return list;
}

InboxList mergedWithNewEntries(const InboxList& stored, const InboxList& newEntries) {
  struct State {
    std::uint32_t inherited = kNone;  // index of what stored entries pass on
    std::uint32_t place = kNone;      // of the new entry in the result
  };
  const Campaigns campaigns(newEntries);
  std::vector<State> states(campaigns.count());
  std::vector<Inherited> passedOn;
  InboxList result;
  result.reserve(stored.size() + newEntries.size());
  forEachEntry(stored, [&](const auto& entry, std::size_t) {
    const std::uint32_t number = campaigns.numberOf(*entry);
    if (number == kNone) return result.push_back(entry);
    State& state = states[number];
    if (state.inherited == kNone) {
      state.inherited = static_cast<std::uint32_t>(passedOn.size());
      passedOn.emplace_back();
    }
    passedOn[state.inherited].takeFrom(*entry);
  });
  forEachEntry(newEntries, [&](const auto& entry, std::size_t index) {
    State& state = states[campaigns.numberAt(index)];
    if (state.place != kNone) {  // an earlier new one, which has what the stored ones passed on
      Inherited inherited;
      inherited.takeFrom(*result[state.place]);
      inherited.giveTo(*entry);
      result[state.place].reset();  // leaves an empty place until the end
    } else if (state.inherited != kNone) {
      passedOn[state.inherited].giveTo(*entry);
    }
    state.place = static_cast<std::uint32_t>(result.size());
    result.push_back(entry);
  });
  std::erase(result, nullptr);
  return result;
}

InboxList mergedWithServerEntries(const InboxList& stored, const InboxList& serverEntries) {
  const Campaigns campaigns(serverEntries);
  std::vector<bool> isPresent(campaigns.count());
  InboxList result;
  result.reserve(stored.size() + serverEntries.size());
  forEachEntry(stored, [&](const auto& entry, std::size_t) {
    const std::uint32_t number = campaigns.numberOf(*entry);
    if (number != kNone) isPresent[number] = true;
    result.push_back(entry);
  });
  forEachEntry(serverEntries, [&](const auto& entry, std::size_t index) {
    const std::uint32_t number = campaigns.numberAt(index);
    if (isPresent[number]) return;
    isPresent[number] = true;
    result.push_back(entry);
  });
  return result;
}

InboxList withoutExpired(const InboxList& list, Date now, double defaultPeriod) {
  InboxList kept;
  kept.reserve(list.size());
  forEachEntry(list, [&](const auto& entry, std::size_t) {
    if (!entry->hasPayload()) return;
    const Value expiry = entry->inboxExpiryDate();
    const Value received = entry->receivedDate();
    if (expiry.isNil() && received.isNil()) {
      entry->setReceivedDate(now);
      return kept.push_back(entry);
    }
    const Date end = expiry.isNil() ? Date{received.date().secondsSince1970 + defaultPeriod} : expiry.date();
    if (ZNDateUtils::isDate1(end, now)) kept.push_back(entry);
  });
  return kept;
}

}  // namespace zn
