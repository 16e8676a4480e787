#include "Platform/NotificationRecorder.h"

#include <utility>

namespace zn {

NotificationRecorder::NotificationRecorder(std::function<void(const UNNotificationRequest&)> onRequest)
    : onRequest_(std::move(onRequest)) {}

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
  {
    Lock lock(mutex_);
    requests_.push_back(request);
    if (requests_.size() > mostKept) requests_.pop_front();
  }
  dispatchAsync(Queue::global, [onRequest = onRequest_, request, completion = std::move(completion)] {
    if (onRequest) onRequest(request);
    if (completion) completion(std::nullopt);
  });
}

std::vector<UNNotificationRequest> NotificationRecorder::requests() const {
  Lock lock(mutex_);
  return {requests_.begin(), requests_.end()};
}

}  // namespace zn
