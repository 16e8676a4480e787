#include "ZNPlatform/NotificationRecorder.h"

#include <utility>

namespace zn {

namespace {
Date now() { return Device::current().clock->now(); }
}  // namespace

NotificationRecorder::NotificationRecorder(std::function<void(const UNNotificationRequest&)> onRequest,
                                           std::function<void(const Identifiers&)> onRemoval)
    : onRequest_(std::move(onRequest)), onRemoval_(std::move(onRemoval)) {}

void NotificationRecorder::requestAuthorization(
    unsigned, std::function<void(bool, const std::optional<std::string>&)> completion) {
  dispatchAsync(Queue::global, [completion = std::move(completion)] {
    if (completion) completion(true, std::nullopt);
  });
}

void NotificationRecorder::getSettings(std::function<void(const UNNotificationSettings&)> completion) {
  dispatchAsync(Queue::global, [completion = std::move(completion)] {
    if (completion) completion({UNNotificationSetting::enabled});
  });
}

void NotificationRecorder::add(const UNNotificationRequest& request,
                               std::function<void(const std::optional<std::string>& error)> completion) {
  list_.add(request, now());
  dispatchAsync(Queue::global, [onRequest = onRequest_, request, completion = std::move(completion)] {
    if (onRequest) onRequest(request);
    if (completion) completion(std::nullopt);
  });
}

void NotificationRecorder::getPending(std::function<void(const std::vector<UNNotificationRequest>&)> completion) {
  dispatchAsync(Queue::global, [completion = std::move(completion), pending = list_.pending(now())] {
    if (completion) completion(pending);
  });
}

void NotificationRecorder::getDelivered(std::function<void(const std::vector<UNNotification>&)> completion) {
  dispatchAsync(Queue::global, [completion = std::move(completion), delivered = list_.delivered(now())] {
    if (completion) completion(delivered);
  });
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
