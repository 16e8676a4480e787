#pragma once

#include <cstddef>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// What became of the inbox in one step. Campaign ids; nil stands for an entry without one.
struct InboxChange {
  std::vector<Value> added;
  std::vector<Value> read;  ///< entries that were there, unread, before
  std::vector<Value> removed;
  std::size_t unreadCount = 0;  ///< after it
};

/// Learns that the inbox changed, by the module or by the host: ZNInboxHandler::addObserver.
///
/// Thread: the main queue. Each change is told once, in the order of the changes, and soon after it: the inbox may have
/// changed again meanwhile, which is told next. An entry that a newer copy of its campaign replaces is neither added
/// nor removed. Entries that the host changes by itself (`setIsRead`, `setInboxMessages`) are noticed with the next
/// change. The observer may call the inbox; what it throws is logged.
class ZN_EXPORT InboxObserver {
 public:
  virtual ~InboxObserver();
  virtual void inboxChanged(const InboxChange& change) = 0;
};

}  // namespace zn
