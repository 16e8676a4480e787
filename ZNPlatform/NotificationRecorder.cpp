#include "ZNPlatform/NotificationRecorder.h"

#include <utility>

namespace zn {

namespace {
Date now() { return Device::current().clock->now(); }
}  // namespace

NotificationRecorder::NotificationRecorder(std::function<void(const UNNotificationRequest&)> onRequest,
                                           std::function<void(const Identifiers&)> onRemoval)
    : onRequest_(std::move(onRequest)), onRemoval_(std::move(onRemoval)) {}

void NotificationRecorder::requestAuthorization(unsigned, AuthorizationCompletion completion) {
  answer(std::move(completion), true, std::nullopt);
}

void NotificationRecorder::getSettings(std::function<void(const UNNotificationSettings&)> completion) {
  answer(std::move(completion), UNNotificationSettings{UNNotificationSetting::enabled});
}

void NotificationRecorder::add(const UNNotificationRequest& request, ErrorCompletion completion) {
  list_.add(request, now());
  dispatchAsync(Queue::global, [onRequest = onRequest_, request, completion = std::move(completion)] {
    if (onRequest) onRequest(request);
    if (completion) completion(std::nullopt);
  });
}

void NotificationRecorder::getPending(std::function<void(const std::vector<UNNotificationRequest>&)> completion) {
  answer(std::move(completion), list_.pending(now()));
}

void NotificationRecorder::getDelivered(std::function<void(const std::vector<UNNotification>&)> completion) {
  answer(std::move(completion), list_.delivered(now()));
}

void NotificationRecorder::removePending(const std::optional<Identifiers>& identifiers) {
  tellRemoval(list_.removePending(identifiers, now()));
}

void NotificationRecorder::removeDelivered(const std::optional<Identifiers>& identifiers) {
  tellRemoval(list_.removeDelivered(identifiers, now()));
}

void NotificationRecorder::tellRemoval(Identifiers removed) const {
  if (removed.empty() || !onRemoval_) return;
  dispatchAsync(Queue::global, [onRemoval = onRemoval_, removed = std::move(removed)] { onRemoval(removed); });
}

std::vector<UNNotificationRequest> NotificationRecorder::requests() const { return list_.all(); }

}  // namespace zn
