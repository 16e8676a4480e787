#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZNDevices/Freedesktop/DesktopStore_p.h"
#include "ZNDevices/Freedesktop/NotificationServer_p.h"
#include "ZNPlatform/Device.h"

namespace zn {

/// The notifications of a desktop's device: those that wait for their time, those that wait for a server, and those
/// that stand on the screen. All of them are kept on disk. One that was shown by a server that is gone is shown again
/// by the next.
///
/// A response goes to the notification centre's delegate once: what a server tells first counts. While the application
/// is active, the delegate decides whether a notification is shown at all.
///
/// Thread: any for what DeviceNotifications has, and for `setAllowed` and `missing`; the bus's for the rest, where all
/// of the state is.
class DesktopNotifications : public DeviceNotifications, public NotificationServer::Client {
 public:
  /// What of the rest of the device is needed. Called on the bus's thread; `opening` runs its task on the main thread,
  /// as what a click does that brings the application to the front.
  struct Surroundings {
    std::function<bool()> isActive;
    std::function<void(const std::string& token, Task task)> opening;
  };

  DesktopNotifications(Device& device, SessionBus& bus, const std::string& file, std::string applicationName,
                       Surroundings surroundings);

  void requestAuthorization(unsigned options, AuthorizationCompletion completion) override;
  void getSettings(std::function<void(const UNNotificationSettings&)> completion) override;
  void setCategories(const std::vector<UNNotificationCategory>& categories) override;
  void add(const UNNotificationRequest& request, ErrorCompletion completion) override;
  void getPending(std::function<void(const std::vector<UNNotificationRequest>&)> completion) override;
  void getDelivered(std::function<void(const std::vector<UNNotification>&)> completion) override;
  void removePending(const std::optional<std::vector<std::string>>& identifiers) override;
  void removeDelivered(const std::optional<std::vector<std::string>>& identifiers) override;

  void setAllowed(bool isAllowed);
  std::vector<std::string> missing() const;

  /// The servers to choose from: the first that is there. Before any other of the operations below.
  void useServers(std::vector<NotificationServer*> servers);
  /// Shows what is there from now on, on a server once one is known.
  void start();
  /// Shows what a push asks for. `shown` is called once it was handed to a server, waits for one that is not there, or
  /// is not to be shown.
  void showPush(const UNNotificationRequest& request, Task shown);
  /// A click that came another way than through a server: on the notification (action "") or one of its buttons.
  void respond(const std::string& identifier, const std::string& action, const std::string& token);

  void serverChanged() override;
  void acted(NotificationServer& server, const std::string& handle, const std::string& action,
             const std::string& token) override;
  void closed(NotificationServer& server, const std::string& handle, NotificationServer::Closing why) override;

 private:
  enum class Stage {
    waiting,   // for its time
    deciding,  // the delegate is asked
    due,       // for a server, or for the answer of one
    shown,
    expired,  // the server took it away, but may still bring it back from its history
    removed   // as soon as the server has answered
  };
  struct Kept {
    std::uint64_t number = 0;  // by which answers find it
    UNNotificationRequest request{};
    Date date{};  // when it falls due, or fell
    Stage stage = Stage::waiting;
    std::string handle{};    // of the server that has it, or had the one that it replaces
    std::string instance{};  // of that server
    bool isUnderWay = false;
    bool isSilent = false;  // the delegate wants no sound
    Task shown{};
  };
  using Notifications = std::list<Kept>;
  using Place = Notifications::iterator;

  void whenServerIsKnown(std::function<void(bool isThere)> then);
  void tellMissing();
  void take(const UNNotificationRequest& request, Task shown);
  void takePlaceOf(const std::string& identifier, Kept& fresh);
  void scheduleNext();
  void fallDue();
  void decide(Place place);
  void decided(std::uint64_t number, unsigned options);
  void showWhatIsDue();
  void show(Place place);
  void wasShown(std::uint64_t number, const std::string& instance, const std::string& handle);
  void takeFromScreen(const Kept& kept);
  void hasEnded(Place place);
  void remove(const std::optional<std::vector<std::string>>& identifiers, bool waiting);
  void deliver(Place place, const std::string& action, const std::string& token);
  Banner bannerOf(const Kept& kept) const;
  const UNNotificationCategory* categoryOf(const UNNotificationRequest& request) const;
  Place find(std::uint64_t number);
  Place find(const std::string& identifier, bool isWaiting);
  Place findHandle(const NotificationServer& server, const std::string& handle);

  Value state() const;
  void load();

  Device& device_;
  SessionBus& bus_;
  const std::string applicationName_;
  const Surroundings surroundings_;
  DesktopStore store_;
  std::vector<NotificationServer*> servers_;
  NotificationServer* server_ = nullptr;  // the one in use
  bool isStarted_ = false;
  std::optional<bool> isAllowed_;
  std::vector<UNNotificationCategory> categories_;
  Notifications kept_;  // oldest first
  std::uint64_t numbers_ = 0;
  std::size_t underWay_ = 0;
  std::uint64_t wakes_ = 0;
  std::vector<std::function<void(bool isThere)>> unknown_;  // wait for a server to be known
  mutable Mutex mutex_;
  std::vector<std::string> missing_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zn
