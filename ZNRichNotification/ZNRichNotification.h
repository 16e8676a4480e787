#pragma once

#include <functional>
#include <optional>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/UserNotifications/UNNotification.h"

/// Prepares the contents of rich notifications. Thread: any.
class ZN_EXPORT ZNRichNotification {
 public:
  using Completion = std::function<void(const std::optional<UNNotificationContent>& content)>;
  using Preparer = std::function<void(const UNNotificationRequest& request, Completion completion)>;

  /// `getLocalNotificationContentForRequest:withCompletionHandler:`: the contents to show for a local notification, or
  /// nothing to show none. Calls the completion once. Contents pass unchanged unless a preparer is set.
  static void getLocalNotificationContentForRequest(const UNNotificationRequest& request, Completion completion);

  /// What prepares the contents of the whole process instead, for hosts that attach media and for simulators. It must
  /// call its completion once, on any thread (only its first call counts); empty goes back to passing contents
  /// unchanged.
  static void setPreparer(Preparer preparer);
};
