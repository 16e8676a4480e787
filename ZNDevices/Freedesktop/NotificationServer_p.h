#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ZNDevices/Freedesktop/Bus/SessionBus_p.h"
#include "ZNPlatform/UserNotifications/UNNotification.h"

namespace zn {

/// A notification as a server is to show it. All texts are plain.
struct Banner {
  struct Button {
    std::string action;
    std::string label;
  };
  std::string identifier;
  std::string title{};
  std::string body{};  ///< may have several lines
  std::optional<UNNotificationSound> sound{};
  std::string image{};  ///< absolute path of a file, or empty
  std::vector<Button> buttons{};
};

/// How the application presents itself to a session.
struct DesktopIdentity {
  std::string applicationID;
  std::string name;
  std::string icon;
};

/// What shows notifications in a session. A notification that it shows has a handle, which it gives; handles of one
/// `instance` are of no use with another. Thread: the bus's.
class NotificationServer : public SessionBus::Part {
 public:
  enum class State { unknown, missing, ready };
  enum class Closing { expired, dismissed, byUs };

  /// Who is told of what happens there. Lives as long as the server.
  class Client {
   public:
    virtual ~Client() = default;
    virtual void serverChanged() = 0;  ///< state, instance or what it lacks
    /// A click on a button, or with an empty `action` on the notification itself. `token` for raising a window, may be
    /// empty.
    virtual void acted(NotificationServer& server, const std::string& handle, const std::string& action,
                       const std::string& token) = 0;
    virtual void closed(NotificationServer& server, const std::string& handle, Closing why) = 0;
  };

  virtual State state() const = 0;
  /// Finds out whether it is there, where that is unknown: those before it in a client's list are not.
  virtual void look() {}
  virtual std::string instance() const = 0;
  /// Whether what an earlier process showed as that instance stands on this one's screen, but can only be clicked once
  /// it is replaced.
  virtual bool inherits(const std::string& /*instance*/) const { return false; }
  virtual std::vector<std::string> missing() const = 0;  ///< as FreedesktopDevice::missing
  /// Shows a notification, in the place of the one with the handle `replaced` unless that is empty. Calls `shown` once,
  /// later, with its handle, or with "" where the server did not take it.
  virtual void show(const Banner& banner, const std::string& replaced,
                    std::function<void(const std::string& handle)> shown) = 0;
  virtual void close(const std::string& handle) = 0;
};

}  // namespace zn
