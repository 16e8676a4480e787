#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZNDevices/Simulator/Effects_p.h"
#include "ZNDevices/Simulator/TaskLine_p.h"
#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/UserNotifications/NotificationList.h"

namespace zn {

class SimulatedNotifications : public DeviceNotifications {
 public:
  SimulatedNotifications(EffectSinkPtr effects, std::shared_ptr<TaskLine> line)
      : effects_(std::move(effects)), line_(std::move(line)) {}

  void requestAuthorization(unsigned options, AuthorizationCompletion completion) override;
  void getSettings(std::function<void(const UNNotificationSettings&)> completion) override;
  void setCategories(const std::vector<UNNotificationCategory>& categories) override;
  void add(const UNNotificationRequest& request, ErrorCompletion completion) override;
  void getPending(std::function<void(const std::vector<UNNotificationRequest>&)> completion) override;
  void getDelivered(std::function<void(const std::vector<UNNotification>&)> completion) override;
  void removePending(const std::optional<std::vector<std::string>>& identifiers) override;
  void removeDelivered(const std::optional<std::vector<std::string>>& identifiers) override;

  void setAlertSetting(UNNotificationSetting setting);
  void setAuthorizationAnswer(bool isGranted, std::optional<std::string> error);
  void setFailure(std::optional<std::string> error);

 private:
  const EffectSinkPtr effects_;
  const std::shared_ptr<TaskLine> line_;
  NotificationList list_;
  mutable Mutex mutex_;
  UNNotificationSettings settings_ ZN_GUARDED_BY(mutex_){UNNotificationSetting::enabled};
  bool isAuthorizationGranted_ ZN_GUARDED_BY(mutex_) = true;
  std::optional<std::string> authorizationError_ ZN_GUARDED_BY(mutex_);
  std::optional<std::string> failure_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zn
