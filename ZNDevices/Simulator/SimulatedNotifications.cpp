#include "ZNDevices/Simulator/SimulatedNotifications_p.h"

#include <algorithm>

namespace zn {

namespace {

Value categoryValue(const UNNotificationCategory& category) {
  Value actions = Value::array();
  for (const auto& action : category.actions) {
    actions.append(Value::dictionary(
        {{"identifier", orNull(action.identifier)}, {"options", action.options}, {"title", orNull(action.title)}}));
  }
  return Value::dictionary(
      {{"actions", actions}, {"identifier", orNull(category.identifier)}, {"options", category.options}});
}

Value soundValue(const std::optional<UNNotificationSound>& sound) {
  if (!sound) return nil;
  return sound->isDefault ? "default" : sound->name;
}

}  // namespace

void SimulatedNotifications::requestAuthorization(unsigned options, AuthorizationCompletion completion) {
  effects_->emit("authorization", options);
  Lock lock(mutex_);
  answer(std::move(completion), isAuthorizationGranted_, authorizationError_);
}

void SimulatedNotifications::getSettings(std::function<void(const UNNotificationSettings&)> completion) {
  Lock lock(mutex_);
  answer(std::move(completion), settings_);
}

void SimulatedNotifications::setCategories(const std::vector<UNNotificationCategory>& categories) {
  std::vector<UNNotificationCategory> sorted = categories;
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.identifier.string() < b.identifier.string(); });
  Value list = Value::array();
  for (const auto& category : sorted) list.append(categoryValue(category));
  effects_->emit("categories", list);
}

void SimulatedNotifications::add(const UNNotificationRequest& request, ErrorCompletion completion) {
  const UNNotificationContent& content = request.content;
  effects_->emit("notification", request.identifier,
                 {{"title", content.title},
                  {"subtitle", content.subtitle},
                  {"body", content.body},
                  {"sound", soundValue(content.sound)},
                  {"category", content.categoryIdentifier},
                  {"userInfo", content.userInfo},
                  {"delay", request.trigger ? Value(request.trigger->timeInterval) : nil}});
  std::optional<std::string> failure;
  {
    Lock lock(mutex_);
    failure = failure_;
  }
  if (!failure) list_.add(request, Date{line_->now()});
  answer(std::move(completion), failure);
}

void SimulatedNotifications::getPending(std::function<void(const std::vector<UNNotificationRequest>&)> completion) {
  answer(std::move(completion), list_.pending(Date{line_->now()}));
}

void SimulatedNotifications::getDelivered(std::function<void(const std::vector<UNNotification>&)> completion) {
  answer(std::move(completion), list_.delivered(Date{line_->now()}));
}

void SimulatedNotifications::removePending(const std::optional<std::vector<std::string>>& identifiers) {
  for (const std::string& removed : list_.removePending(identifiers, Date{line_->now()})) {
    effects_->emit("notificationRemoved", removed);
  }
}

void SimulatedNotifications::removeDelivered(const std::optional<std::vector<std::string>>& identifiers) {
  list_.removeDelivered(identifiers, Date{line_->now()});
}

void SimulatedNotifications::setAlertSetting(UNNotificationSetting setting) {
  Lock lock(mutex_);
  settings_.alertSetting = setting;
}

void SimulatedNotifications::setAuthorizationAnswer(bool isGranted, std::optional<std::string> error) {
  Lock lock(mutex_);
  isAuthorizationGranted_ = isGranted;
  authorizationError_ = std::move(error);
}

void SimulatedNotifications::setFailure(std::optional<std::string> error) {
  Lock lock(mutex_);
  failure_ = std::move(error);
}

}  // namespace zn
