// A host on a Linux desktop without Qt: the module in a GLib main loop, with real notifications and push. GTK
// applications do the same.
#include <glib-unix.h>

#include <iostream>
#include <string_view>

#include "ZNDevices/Freedesktop/FreedesktopDevice.h"
#include "ZNMessaging/Messaging.h"

namespace {

/// What the system tells the application: here it is handed to the module.
class Host : public zn::Object, public zn::DesktopHost, public ZNMessagingDelegate {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine =
        zn::ClassBuilder<Host>("Host")
            .implements(kSelectorDidRegisterForRemoteNotifications, &Host::didRegister)
            .implements(kSelectorDidFailToRegisterForRemoteNotifications, &Host::didFail)
            .implements(kSelectorDidReceiveRemoteNotification, &Host::didReceive)
            .build();
    return *mine;
  }
  void activate(const std::string&) override { std::cout << "the user wants to see the application" << std::endl; }
  void notificationClickedWithScreenName(const zn::Value& screenName, const zn::Value&) override {
    if (screenName.isString()) std::cout << "a click asks for the screen " << screenName.string() << std::endl;
  }

 private:
  void didRegister(const std::shared_ptr<UIApplication>&, const zn::Data& token) {
    ZNMessaging::sharedInstance()->setPushToken(token);
    std::cout << "push works" << std::endl;  // whoever knows the token may push: it is not for everybody's eyes
  }
  void didFail(const std::shared_ptr<UIApplication>&, const std::string& why) {
    ZNMessaging::sharedInstance()->didFailToRegisterForPush();
    std::cout << "no push: " << why << std::endl;
  }
  void didReceive(const std::shared_ptr<UIApplication>& application, const zn::Value& payload) {
    ZNMessaging::sharedInstance()->didReceieveNotificationinApplication(application, payload);
    ZNInboxHandler::sharedInstance()->syncInboxNotificationsWithCompletionHandler([](bool) {
      std::cout << "unread: " << ZNInboxHandler::sharedInstance()->getUnreadNotifictionCount() << std::endl;
    });
  }
};

}  // namespace

int main(int count, char** arguments) {
  zn::FreedesktopDevice::Options options;
  options.applicationID = "com.example.GLibHost";
  options.name = "GLib host";
  options.mainQueue = zn::FreedesktopDevice::MainQueue::pumped;
  if (zn::FreedesktopDevice::handOver(options)) return 0;  // it runs already, and comes to the front

  const auto device = std::make_shared<zn::FreedesktopDevice>(options);
  zn::Device::install(device);
  std::string error = "usage: glib-host CONFIGURATION";
  if (count < 2 || !ZNConfigDataManager::sharedInstance()->loadFile(arguments[1], &error)) {
    std::cerr << error << '\n';
    return 1;
  }
  zn::UserSession::logIn("customer-17");
  const auto host = std::make_shared<Host>();  // nobody else owns it
  device->setHost(host);
  UIApplication::sharedApplication()->setDelegate(host);
  const auto messaging = ZNMessaging::sharedInstance();
  messaging->setMessagingDelegate(host);
  messaging->initializeMessagingWithLaunchOptions(zn::nil);
  messaging->registerForRemoteNotificationWithCategories({}, nullptr);
  device->start();

  GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
  const auto pump = [](gint, GIOCondition, gpointer pumped) -> gboolean {
    static_cast<zn::FreedesktopDevice*>(pumped)->runPending();
    return G_SOURCE_CONTINUE;
  };
  const auto end = [](gpointer ended) -> gboolean {
    g_main_loop_quit(static_cast<GMainLoop*>(ended));
    return G_SOURCE_REMOVE;
  };
  g_unix_fd_add(device->wakeDescriptor(), G_IO_IN, pump, device.get());
  g_unix_signal_add(SIGTERM, end, loop);
  g_unix_signal_add(SIGINT, end, loop);
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
}
