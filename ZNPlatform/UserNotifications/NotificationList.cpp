#include "ZNPlatform/UserNotifications/NotificationList.h"

#include <algorithm>

namespace zn {

namespace {
bool waits(Date due, Date now) { return due.secondsSince1970 > now.secondsSince1970; }
}  // namespace

void NotificationList::add(const UNNotificationRequest& request, Date now) {
  const double delay = request.trigger ? request.trigger->timeInterval : 0;
  const Lock lock(mutex_);
  removeLocked(Identifiers{request.identifier}, true, now);
  kept_.push_back({request, Date{now.secondsSince1970 + delay}});
  if (kept_.size() > mostKept) kept_.pop_front();
}

std::vector<UNNotificationRequest> NotificationList::all() const {
  std::vector<UNNotificationRequest> requests;
  const Lock lock(mutex_);
  for (const Kept& each : kept_) requests.push_back(each.request);
  return requests;
}

std::vector<UNNotificationRequest> NotificationList::pending(Date now) const {
  std::vector<UNNotificationRequest> requests;
  const Lock lock(mutex_);
  for (const Kept& each : kept_) {
    if (waits(each.due, now)) requests.push_back(each.request);
  }
  return requests;
}

std::vector<UNNotification> NotificationList::delivered(Date now) const {
  std::vector<UNNotification> notifications;
  const Lock lock(mutex_);
  for (const Kept& each : kept_) {
    if (!waits(each.due, now)) notifications.push_back({each.request, each.due});
  }
  return notifications;
}

NotificationList::Identifiers NotificationList::removePending(const std::optional<Identifiers>& identifiers, Date now) {
  const Lock lock(mutex_);
  return removeLocked(identifiers, true, now);
}

NotificationList::Identifiers NotificationList::removeDelivered(const std::optional<Identifiers>& identifiers,
                                                                Date now) {
  const Lock lock(mutex_);
  return removeLocked(identifiers, false, now);
}

NotificationList::Identifiers NotificationList::removeLocked(const std::optional<Identifiers>& identifiers,
                                                             bool waiting, Date now) {
  Identifiers removed;
  std::erase_if(kept_, [&](const Kept& each) {
    const bool isNamed = !identifiers || std::find(identifiers->begin(), identifiers->end(), each.request.identifier) !=
                                             identifiers->end();
    if (!isNamed || waits(each.due, now) != waiting) return false;
    removed.push_back(each.request.identifier);
    return true;
  });
  return removed;
}

}  // namespace zn
