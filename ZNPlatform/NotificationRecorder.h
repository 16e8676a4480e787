#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/UserNotifications/NotificationList.h"

namespace zn {

/// Notifications of a device that has nowhere to show them but takes them: the user counts as allowing alerts, and
/// every request succeeds; the newest `mostKept` are kept until they are removed. For servers, kiosks that draw
/// notifications themselves, and tests.
///
///     auto device = std::make_shared<zn::HeadlessDevice>(options);
///     device->notifications = std::make_unique<zn::NotificationRecorder>();
///     zn::Device::install(device);
///
/// Thread: any.
class ZN_EXPORT NotificationRecorder : public DeviceNotifications {
 public:
  static constexpr std::size_t mostKept = NotificationList::mostKept;

  using Identifiers = std::vector<std::string>;

  /// `onRequest`, if given, is told every request, on the global queue, before its completion is called; `onRemoval`
  /// the identifiers of those that are taken back, waiting ones and delivered ones, likewise.
  explicit NotificationRecorder(std::function<void(const UNNotificationRequest&)> onRequest = nullptr,
                                std::function<void(const Identifiers&)> onRemoval = nullptr);

  void requestAuthorization(unsigned options, AuthorizationCompletion completion) override;
  void getSettings(std::function<void(const UNNotificationSettings&)> completion) override;
  void add(const UNNotificationRequest& request, ErrorCompletion completion) override;
  void getPending(std::function<void(const std::vector<UNNotificationRequest>&)> completion) override;
  void getDelivered(std::function<void(const std::vector<UNNotification>&)> completion) override;
  void removePending(const std::optional<Identifiers>& identifiers) override;
  void removeDelivered(const std::optional<Identifiers>& identifiers) override;

  std::vector<UNNotificationRequest> requests() const;  ///< those that are kept, oldest first

 private:
  void tellRemoval(Identifiers removed) const;

  const std::function<void(const UNNotificationRequest&)> onRequest_;
  const std::function<void(const Identifiers&)> onRemoval_;
  NotificationList list_;
};

}  // namespace zn
