// How a notification falls due, is decided on, and comes to the screen.

#include <algorithm>
#include <atomic>
#include <utility>

#include "ZNDevices/Freedesktop/DesktopNotifications_p.h"
#include "ZNPlatform/UserNotifications/NotificationList.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"

namespace zn {

namespace {

constexpr double kPatienceForDelegate = 10;  // seconds, for its answer whether to show
/// Seconds. A machine that sleeps stops the clock of timers, so what waits is looked at now and then.
constexpr double kLongestSleep = 60;
constexpr std::size_t kMostUnderWay = 16;

}  // namespace

/// In the place of one with its identifier that waits; one that stands on the screen is replaced there, when it is due.
void DesktopNotifications::take(const UNNotificationRequest& request, Task shown) {
  const double delay = request.trigger ? std::max(request.trigger->timeInterval, 0.0) : 0;
  const Date due{device_.clock->now().secondsSince1970 + delay};
  if (const Place before = find(request.identifier, true); before != kept_.end()) hasEnded(before);
  kept_.push_back({.number = ++numbers_, .request = request, .date = due, .shown = std::move(shown)});
  if (kept_.size() > NotificationList::mostKept) {
    takeFromScreen(kept_.front());
    hasEnded(kept_.begin());
  }
  fallDue();
}

void DesktopNotifications::takePlaceOf(const std::string& identifier, Kept& fresh) {
  const Place before = find(identifier, false);
  if (before == kept_.end()) return;
  if (before->stage != Stage::expired) {
    fresh.handle = before->handle;
    fresh.instance = before->instance;
  }
  if (before->isUnderWay) {
    fresh.isUnderWay = true;  // and the answer is for this one
    fresh.number = before->number;
  }
  hasEnded(before);
}

/// What is due leaves its waiting; the rest is waited for.
void DesktopNotifications::fallDue() {
  const double now = device_.clock->now().secondsSince1970;
  std::vector<std::uint64_t> due;
  for (const Kept& each : kept_) {
    if (each.stage == Stage::waiting && each.date.secondsSince1970 <= now) due.push_back(each.number);
  }
  for (const std::uint64_t number : due) {
    if (const Place place = find(number); place != kept_.end()) decide(place);
  }
  scheduleNext();
  showWhatIsDue();
}

void DesktopNotifications::scheduleNext() {
  if (!isStarted_) return;
  const double now = device_.clock->now().secondsSince1970;
  double pause = -1;
  for (const Kept& each : kept_) {
    if (each.stage != Stage::waiting) continue;
    const double left = std::clamp(each.date.secondsSince1970 - now, 0.0, kLongestSleep);
    pause = pause < 0 ? left : std::min(pause, left);
  }
  const std::uint64_t wake = ++wakes_;
  if (pause < 0) return;
  bus_.performAfter(pause, [this, wake] {
    if (wake == wakes_) fallDue();
  });
}

void DesktopNotifications::decide(Place place) {
  if (!isStarted_) return;                                  // `start` looks again
  if (!isAllowed_.value_or(false)) return hasEnded(place);  // the user thought better of it meanwhile
  takePlaceOf(place->request.identifier, *place);
  if (!surroundings_.isActive()) {
    place->stage = Stage::due;
    return;
  }
  place->stage = Stage::deciding;
  const std::uint64_t number = place->number;
  const auto answered = std::make_shared<std::atomic<bool>>(false);
  const auto decide = [this, number, answered](unsigned options) {
    if (answered->exchange(true)) return;
    bus_.perform([this, number, options] { decided(number, options); });
  };
  device_.queues->async(Queue::main, [decide, notification = UNNotification{place->request, place->date}] {
    const auto centre = UNUserNotificationCenter::currentNotificationCenter();
    if (centre->deliverWillPresent(notification, decide) != Delivery::called) decide(0);
  });
  bus_.performAfter(kPatienceForDelegate, [decide] { decide(UNOptionAlert | UNOptionSound); });
}

void DesktopNotifications::decided(std::uint64_t number, unsigned options) {
  const Place place = find(number);
  if (place == kept_.end() || place->stage != Stage::deciding) return;
  if (options & UNOptionAlert) {
    place->stage = Stage::due;
    place->isSilent = !(options & UNOptionSound);
    showWhatIsDue();
  } else {
    takeFromScreen(*place);
    hasEnded(place);
  }
  store_.changed();
}

void DesktopNotifications::takeFromScreen(const Kept& kept) {
  if (kept.stage == Stage::expired || kept.handle.empty()) return;
  if (server_ && server_->instance() == kept.instance) server_->close(kept.handle);
}

void DesktopNotifications::showWhatIsDue() {
  if (!isStarted_) return;
  std::vector<Task> told;
  for (Place each = kept_.begin(); each != kept_.end() && underWay_ < kMostUnderWay; ++each) {
    if (each->stage != Stage::due) continue;
    if (server_ && !each->isUnderWay) show(each);
    // Nobody waits for a server that is not there, or for the answer of one.
    if (const Task shown = std::exchange(each->shown, nullptr)) told.push_back(shown);
  }
  for (const Task& shown : told) shown();
}

void DesktopNotifications::show(Place place) {
  const std::string instance = server_->instance();
  const std::string replaced = place->instance == instance ? place->handle : "";
  place->stage = Stage::shown;
  place->isUnderWay = true;
  place->instance = instance;
  ++underWay_;
  server_->show(bannerOf(*place), replaced, [this, number = place->number, instance](const std::string& handle) {
    --underWay_;
    wasShown(number, instance, handle);
    showWhatIsDue();
  });
}

/// One that the server did not take is not shown again there: it may have shown it and failed to say so.
void DesktopNotifications::wasShown(std::uint64_t number, const std::string& instance, const std::string& handle) {
  const Place place = find(number);
  if (place == kept_.end()) return;
  place->isUnderWay = false;
  place->instance = instance;
  place->handle = handle;
  if (place->stage == Stage::removed) {
    takeFromScreen(*place);
    return hasEnded(place);
  }
  store_.changed();
}

void DesktopNotifications::hasEnded(Place place) {
  const Task shown = std::move(place->shown);
  kept_.erase(place);
  if (shown) shown();
}

}  // namespace zn
