#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <vector>

#include "Platform/Device.h"
#include "Platform/Foundation/Mutex.h"

namespace zn {

/// Notifications of a device that has nowhere to show them but takes them: the user counts as allowing alerts, and
/// every request succeeds; the newest `mostKept` are kept. For servers, kiosks that draw notifications themselves, and
/// tests.
///
///     auto device = std::make_shared<zn::HeadlessDevice>(options);
///     device->notifications = std::make_unique<zn::NotificationRecorder>();
///     zn::Device::install(device);
///
/// Thread: any.
class ZN_EXPORT NotificationRecorder : public DeviceNotifications {
 public:
  static constexpr std::size_t mostKept = 1000;

  /// `onRequest`, if given, is told every request, on the global queue, before its completion is called.
  explicit NotificationRecorder(std::function<void(const UNNotificationRequest&)> onRequest = nullptr);

  void requestAuthorization(unsigned options,
                            std::function<void(bool, const std::optional<std::string>&)> completion) override;
  void getSettings(std::function<void(const UNNotificationSettings&)> completion) override;
  void add(const UNNotificationRequest& request,
           std::function<void(const std::optional<std::string>& error)> completion) override;

  std::vector<UNNotificationRequest> requests() const;  ///< those that are kept, oldest first

 private:
  const std::function<void(const UNNotificationRequest&)> onRequest_;
  mutable Mutex mutex_;
  std::deque<UNNotificationRequest> requests_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zn
