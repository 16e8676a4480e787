#pragma once

#include <initializer_list>
#include <utility>
#include <vector>

#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"

namespace zn {

/// The categories that a host hands over, in its order.
struct CategorySet {
  CategorySet() = default;
  CategorySet(std::vector<UNNotificationCategory> all) : categories(std::move(all)) {}
  CategorySet(std::initializer_list<UNNotificationCategory> all) : categories(all) {}

  std::vector<UNNotificationCategory> categories;
  /// Among them was something that is no category, as can happen to a host that gets them from a script or a file. A
  /// registration uses none of such a set, and none of its buttons are sent.
  bool holdsOthers = false;
};

}  // namespace zn
