#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/UserNotifications/UNNotification.h"

namespace zn {

/// The notification requests that a device took: those with a trigger wait until its time has come, all others count as
/// delivered. For devices that have no notification centre to ask. The newest `mostKept` are kept.
///
/// Thread: any. `now` is the device's clock.
class ZN_EXPORT NotificationList {
 public:
  static constexpr std::size_t mostKept = 1000;
  using Identifiers = std::vector<std::string>;

  void add(const UNNotificationRequest& request, Date now);  ///< in the place of one with its identifier that waits
  std::vector<UNNotificationRequest> all() const;            ///< oldest first, as are the next two
  std::vector<UNNotificationRequest> pending(Date now) const;
  std::vector<UNNotification> delivered(Date now) const;
  /// Remove those with these identifiers (nothing: all) and tell which were there.
  Identifiers removePending(const std::optional<Identifiers>& identifiers, Date now);
  Identifiers removeDelivered(const std::optional<Identifiers>& identifiers, Date now);

 private:
  struct Kept {
    UNNotificationRequest request;
    Date due;
  };
  Identifiers removeLocked(const std::optional<Identifiers>& identifiers, bool waiting, Date now) ZN_REQUIRES(mutex_);

  mutable Mutex mutex_;
  std::deque<Kept> kept_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zn
