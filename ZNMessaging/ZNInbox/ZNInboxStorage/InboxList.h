#pragma once

#include <memory>
#include <span>
#include <vector>

#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxModel.h"
#include "ZNPlatform/Export.h"

namespace zn {

/// Entries in order. A published list is never changed; a new one takes its place.
using InboxList = std::vector<std::shared_ptr<ZNInboxModel>>;
using InboxListPtr = std::shared_ptr<const InboxList>;

/// What `make` makes of each of the payloads or older entries that came together: a shared_ptr of an entry. The order
/// stays.
template <class Make>
InboxList entriesOf(std::span<const Value> all, Make&& make) {
  InboxList entries;
  entries.reserve(all.size());
  for (std::size_t place = 0; place < all.size(); ++place) {
    Value::prefetchAhead(all, place);
    entries.push_back(make(all[place]));
  }
  return entries;
}

// Pure operations on lists; null entries are left out. Each costs time in proportion to the entries, except sorting a
// list in no order at all.

/// Newest first by received date; entries without one come last; equal ones keep their order.
ZN_EXPORT InboxList sortedNewestFirst(InboxList list);

/// `stored` with `newEntries` appended, each replacing all stored entries of its campaign (no campaign counts as one of
/// its own). A replaced entry passes on its read state and clicked date, if it was read, and its received date, if it
/// has one; of several the last decides. The new entries are changed accordingly.
ZN_EXPORT InboxList mergedWithNewEntries(const InboxList& stored, const InboxList& newEntries);

/// `stored` with those of `serverEntries` appended whose campaign is not there yet; of equal ones the first counts.
ZN_EXPORT InboxList mergedWithServerEntries(const InboxList& stored, const InboxList& serverEntries);

/// `list` without entries that have no payload or have expired at `now`: the expiry date, or else the received date
/// plus `defaultPeriod` seconds, must be later than `now`. An entry with neither date stays and is stamped as received
/// now.
ZN_EXPORT InboxList withoutExpired(const InboxList& list, Date now, double defaultPeriod);

}  // namespace zn
