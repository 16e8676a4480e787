#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZNDevices/Qt/QtDevice.h"
#include "ZNMessaging/ZNInbox/InboxObserver.h"
#include "ZNMessaging/ZNMessaging.h"

namespace zinhost {

/// The application without its window: what the system and the module tell it. All of it on the main thread.
class Shop : public zn::Object, public zn::DesktopHost, public ZNMessagingDelegate, public zn::InboxObserver {
 public:
  explicit Shop(std::shared_ptr<zn::QtDevice> device) : device_(std::move(device)) {}
  const zn::Class& isa() const override;

  // Whoever shows it sets these before `start`.
  std::function<void(const std::string& token)> activated;
  std::function<void(const std::string& screen, const zn::Value& pairs)> screenAsked;
  std::function<void(std::size_t unread)> unreadChanged;
  std::function<void(const std::string& subscription)> subscriptionChanged;  ///< JSON; empty: no push
  std::function<void(const std::string& text)> happened;

  void start(const std::string& user);
  void open(const std::vector<std::string>& links) override;
  /// Nothing: nobody asked the user yet.
  void askWhetherNotificationsAreAllowed(std::function<void(std::optional<bool> allowed)> then);
  void allowNotifications();
  static void sendEventsSoon();

 private:
  void activate(const std::string& token) override { activated(token); }
  void notificationClickedWithScreenName(const zn::Value& screenName, const zn::Value& pairs) override;
  void inboxChanged(const zn::InboxChange& change) override { unreadChanged(change.unreadCount); }
  void didRegister(const std::shared_ptr<UIApplication>&, const zn::Data& token);
  void didFail(const std::shared_ptr<UIApplication>&, const std::string& why);
  void didReceive(const std::shared_ptr<UIApplication>& application, const zn::Value& payload);

  const std::shared_ptr<zn::QtDevice> device_;
};

}  // namespace zinhost
