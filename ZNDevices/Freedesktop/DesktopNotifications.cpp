#include "ZNDevices/Freedesktop/DesktopNotifications_p.h"

#include <algorithm>
#include <utility>

#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"

namespace zn {

namespace {

constexpr double kPatienceForServer = 8;  // seconds, until a session counts as without one
constexpr std::size_t kMostExpired = 100;

bool isNamed(const std::optional<std::vector<std::string>>& identifiers, const std::string& identifier) {
  return !identifiers || std::find(identifiers->begin(), identifiers->end(), identifier) != identifiers->end();
}

}  // namespace

DesktopNotifications::DesktopNotifications(Device& device, SessionBus& bus, const std::string& file,
                                           std::string applicationName, Surroundings surroundings)
    : device_(device),
      bus_(bus),
      applicationName_(std::move(applicationName)),
      surroundings_(std::move(surroundings)),
      store_(device, bus, file, [this] { return state(); }) {
  bus_.perform([this] { load(); });
}

void DesktopNotifications::requestAuthorization(unsigned, AuthorizationCompletion completion) {
  bus_.perform([this, completion = std::move(completion)]() mutable {
    if (!isAllowed_) {
      isAllowed_ = true;  // a desktop leaves it to its own settings to ask people
      store_.changed();
    }
    whenServerIsKnown([this, completion = std::move(completion)](bool isThere) {
      const bool isGranted = isThere && isAllowed_.value_or(false);
      const std::optional<std::string> error =
          isThere ? std::nullopt : std::optional<std::string>("this session shows no notifications");
      answer(completion, isGranted, error);
    });
  });
}

void DesktopNotifications::getSettings(std::function<void(const UNNotificationSettings&)> completion) {
  bus_.perform([this, completion = std::move(completion)]() mutable {
    whenServerIsKnown([this, completion = std::move(completion)](bool isThere) {
      using enum UNNotificationSetting;
      answer(completion, UNNotificationSettings{!isAllowed_              ? notDetermined
                                                : *isAllowed_ && isThere ? enabled
                                                                         : disabled});
    });
  });
}

void DesktopNotifications::whenServerIsKnown(std::function<void(bool isThere)> then) {
  const bool isKnown = server_ || std::none_of(servers_.begin(), servers_.end(), [](const NotificationServer* each) {
                         return each->state() == NotificationServer::State::unknown;
                       });
  if (isKnown && isStarted_) return then(server_ != nullptr);
  unknown_.push_back(std::move(then));
  if (unknown_.size() > 1) return;
  bus_.performAfter(kPatienceForServer, [this] {
    for (const auto& each : std::exchange(unknown_, {})) each(server_ != nullptr);
  });
}

void DesktopNotifications::setCategories(const std::vector<UNNotificationCategory>& categories) {
  bus_.perform([this, categories] { categories_ = categories; });
}

void DesktopNotifications::setAllowed(bool isAllowed) {
  bus_.perform([this, isAllowed] {
    isAllowed_ = isAllowed;
    store_.changed();
  });
}

std::vector<std::string> DesktopNotifications::missing() const {
  const Lock lock(mutex_);
  return missing_;
}

void DesktopNotifications::useServers(std::vector<NotificationServer*> servers) { servers_ = std::move(servers); }

void DesktopNotifications::start() {
  isStarted_ = true;
  serverChanged();
  fallDue();
}

void DesktopNotifications::serverChanged() {
  using State = NotificationServer::State;
  NotificationServer* chosen = nullptr;
  bool isKnown = true;
  for (NotificationServer* each : servers_) {
    if (each->state() == State::ready) {
      chosen = each;
      break;
    }
    if (each->state() == State::unknown) {
      isKnown = false;
      each->look();
      break;
    }
  }
  server_ = chosen;
  if (!isStarted_) return;
  if (isKnown) {
    for (const auto& each : std::exchange(unknown_, {})) each(server_ != nullptr);
    tellMissing();
  }
  if (!server_) return;
  for (Kept& each : kept_) {
    if (each.stage != Stage::shown || each.instance == server_->instance()) continue;
    each.stage = Stage::due;
    if (server_->inherits(each.instance)) {
      each.instance = server_->instance();  // by which it is replaced
    } else {
      each.handle.clear();  // nobody has it any more
    }
  }
  showWhatIsDue();
}

void DesktopNotifications::tellMissing() {
  std::vector<std::string> lacks;
  if (server_ || !servers_.empty()) lacks = (server_ ? server_ : servers_.front())->missing();
  {
    const Lock lock(mutex_);
    if (missing_ == lacks) return;
    missing_ = lacks;
  }
  std::string list;
  for (const std::string& each : lacks) list += (list.empty() ? "" : ", ") + each;
  if (!list.empty()) device_.systemLog->diagnostic("this session lacks: " + list);
}

void DesktopNotifications::add(const UNNotificationRequest& request, ErrorCompletion completion) {
  bus_.perform([this, request, completion = std::move(completion)] {
    if (!isAllowed_.value_or(false)) {
      return answer(completion, std::optional<std::string>(isAllowed_ ? "the user allows no notifications"
                                                                      : "nobody asked for permission yet"));
    }
    take(request, nullptr);
    store_.changed([completion] { answer(completion, std::optional<std::string>()); });
  });
}

void DesktopNotifications::showPush(const UNNotificationRequest& request, Task shown) {
  if (!isAllowed_.value_or(false)) return shown();
  take(request, std::move(shown));
  store_.changed();
}

void DesktopNotifications::getPending(std::function<void(const std::vector<UNNotificationRequest>&)> completion) {
  bus_.perform([this, completion = std::move(completion)] {
    std::vector<UNNotificationRequest> pending;
    for (const Kept& each : kept_) {
      if (each.stage == Stage::waiting) pending.push_back(each.request);
    }
    answer(completion, pending);
  });
}

void DesktopNotifications::getDelivered(std::function<void(const std::vector<UNNotification>&)> completion) {
  bus_.perform([this, completion = std::move(completion)] {
    std::vector<UNNotification> delivered;
    for (const Kept& each : kept_) {
      if (each.stage == Stage::due || each.stage == Stage::shown) delivered.push_back({each.request, each.date});
    }
    answer(completion, delivered);
  });
}

void DesktopNotifications::removePending(const std::optional<std::vector<std::string>>& identifiers) {
  bus_.perform([this, identifiers] { remove(identifiers, true); });
}

void DesktopNotifications::removeDelivered(const std::optional<std::vector<std::string>>& identifiers) {
  bus_.perform([this, identifiers] { remove(identifiers, false); });
}

void DesktopNotifications::remove(const std::optional<std::vector<std::string>>& identifiers, bool waiting) {
  for (Place each = kept_.begin(); each != kept_.end();) {
    const Place place = each++;
    if ((place->stage == Stage::waiting) != waiting || !isNamed(identifiers, place->request.identifier)) continue;
    if (place->isUnderWay) {
      place->stage = Stage::removed;
      continue;
    }
    takeFromScreen(*place);
    hasEnded(place);
  }
  store_.changed();
}

void DesktopNotifications::acted(NotificationServer& server, const std::string& handle, const std::string& action,
                                 const std::string& token) {
  if (const Place place = findHandle(server, handle); place != kept_.end()) deliver(place, action, token);
}

void DesktopNotifications::respond(const std::string& identifier, const std::string& action, const std::string& token) {
  const Place place = find(identifier, false);
  if (place != kept_.end()) deliver(place, action, token);
}

void DesktopNotifications::deliver(Place place, const std::string& action, const std::string& token) {
  UNNotificationResponse response{{place->request, place->date}, action};
  if (action.empty()) response.actionIdentifier = UNNotificationDefaultActionIdentifier;
  bool opens = action.empty();
  if (const UNNotificationCategory* category = categoryOf(place->request)) {
    constexpr unsigned kForeground = 4;
    for (const UNNotificationAction& each : category->actions) {
      if (each.identifier.string() == action && each.options & kForeground) opens = true;
    }
  }
  takeFromScreen(*place);  // not every server does so by itself
  hasEnded(place);
  store_.changed();
  const Task delivering = [response] {
    UNUserNotificationCenter::currentNotificationCenter()->deliverResponse(response, [] {});
  };
  if (opens) {
    surroundings_.opening(token, delivering);
  } else {
    device_.queues->async(Queue::main, delivering);
  }
}

void DesktopNotifications::closed(NotificationServer& server, const std::string& handle,
                                  NotificationServer::Closing why) {
  const Place place = findHandle(server, handle);
  if (place == kept_.end()) return;
  constexpr unsigned kReportsDismissal = 1;
  const UNNotificationCategory* category = categoryOf(place->request);
  if (why == NotificationServer::Closing::expired) {
    place->stage = Stage::expired;
    const auto isExpired = [](const Kept& each) { return each.stage == Stage::expired; };
    const auto expired = static_cast<std::size_t>(std::count_if(kept_.begin(), kept_.end(), isExpired));
    if (expired > kMostExpired) kept_.erase(std::find_if(kept_.begin(), kept_.end(), isExpired));
    store_.changed();
  } else if (why == NotificationServer::Closing::dismissed && category && category->options & kReportsDismissal) {
    place->handle.clear();
    deliver(place, UNNotificationDismissActionIdentifier, "");
  } else {
    hasEnded(place);
    store_.changed();
  }
}

DesktopNotifications::Place DesktopNotifications::find(std::uint64_t number) {
  return std::find_if(kept_.begin(), kept_.end(), [&](const Kept& each) { return each.number == number; });
}

DesktopNotifications::Place DesktopNotifications::find(const std::string& identifier, bool isWaiting) {
  return std::find_if(kept_.begin(), kept_.end(), [&](const Kept& each) {
    return (each.stage == Stage::waiting) == isWaiting && each.request.identifier == identifier;
  });
}

DesktopNotifications::Place DesktopNotifications::findHandle(const NotificationServer& server,
                                                             const std::string& handle) {
  const std::string instance = server.instance();
  return std::find_if(kept_.begin(), kept_.end(), [&](const Kept& each) {
    return each.handle == handle && each.instance == instance &&
           (each.stage == Stage::shown || each.stage == Stage::expired);
  });
}

const UNNotificationCategory* DesktopNotifications::categoryOf(const UNNotificationRequest& request) const {
  const std::string_view wanted = request.content.categoryIdentifier.string();
  if (wanted.empty()) return nullptr;
  const auto found = std::find_if(categories_.begin(), categories_.end(),
                                  [&](const auto& each) { return each.identifier.string() == wanted; });
  return found == categories_.end() ? nullptr : &*found;
}

}  // namespace zn
