#include "ZNDevices/Freedesktop/FreedesktopDevice.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <utility>

#include "ZNDevices/Freedesktop/DesktopApplication_p.h"
#include "ZNDevices/Freedesktop/DesktopLinks_p.h"
#include "ZNDevices/Freedesktop/NotificationDaemon_p.h"
#include "ZNDevices/Freedesktop/NotificationPortal_p.h"
#include "ZNDevices/Freedesktop/PushConnector_p.h"
#include "ZNDevices/Freedesktop/PushDelivery_p.h"
#include "ZNDevices/Freedesktop/Sandbox_p.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZNPlatform/HomeDirectories.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZintarCore/UserSession.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"

namespace zn {

namespace {

HeadlessDevice::Options headless(const FreedesktopDevice::Options& options) {
  return {.home = options.home,
          .applicationID = options.applicationID,
          .mainQueue = options.mainQueue,
          .backgroundThreads = options.backgroundThreads};
}

FreedesktopDevice::Options completed(FreedesktopDevice::Options options) {
  if (options.name.empty()) options.name = options.applicationID;
  if (options.icon.empty()) options.icon = options.applicationID;
  P256Key::prepare();  // not installed yet, the device does not end yet with the process
  const auto key = dataFromBase64UrlText(options.vapidKey);
  if (!options.vapidKey.empty() && !(key && P256Key::ofPublic(*key))) {
    throw Exception("vapidKey is no public key: it takes 65 bytes of an uncompressed key on P-256, in base64url");
  }
  return options;
}

/// Whose push registrations are: another user's, and one after another decision about push, are others.
std::string ownerOfRegistrations() {
  const bool isOptedOut = !ZNConfigDataManager::sharedInstance()->isPushNotificationEnabled();
  return std::to_string(UserSession::resets()) + (isOptedOut ? " opted out" : "");
}

/// The request to another process to do what this one was started for.
struct HandOver : SessionBus::Part {
  HandOver(SessionBus& through, std::string applicationID, std::vector<std::string> opened)
      : bus(through), name(std::move(applicationID)), links(std::move(opened)) {
    for (const auto& [variable, key] : {std::pair("XDG_ACTIVATION_TOKEN", "activation-token"),
                                        std::pair("DESKTOP_STARTUP_ID", "desktop-startup-id")}) {
      if (const char* token = std::getenv(variable)) platformData.setObjectNilHandled(token, key);
    }
  }
  void connected() override {
    BusMessage call = bus.makeCall(name.c_str(), DesktopApplication::pathOf(name).c_str(),
                                   DesktopApplication::kInterface, links.empty() ? "Activate" : "Open");
    if (!links.empty()) {
      call.container('a', "s", [&] {
        for (const std::string& link : links) call.append("s", link.c_str());
      });
    }
    call.appendDictionary(platformData);
    bus.call(std::move(call), static_cast<double>(kPatience.count()),
             [this](BusMessage&, const std::string& failure) { end(failure.empty()); });
  }
  void disconnected() override { end(false); }
  void end(bool isTaken) {
    if (!std::exchange(hasEnded, true)) taken.set_value(isTaken);
  }

  static constexpr std::chrono::seconds kPatience{5};
  SessionBus& bus;
  const std::string name;
  const std::vector<std::string> links;
  Value platformData = Value::dictionary();
  std::promise<bool> taken;
  bool hasEnded = false;
};

/// Gives the device one of its parts, and keeps a reference.
template <class T, class Slot>
T& placed(std::unique_ptr<Slot>& slot, std::unique_ptr<T> made) {
  T& part = *made;
  slot = std::move(made);
  return part;
}

}  // namespace

struct FreedesktopDevice::Parts {
  Parts(FreedesktopDevice& owner, const Options& options)
      : device(owner),
        bus(owner, options.busAddress),
        notifications(
            placed(owner.notifications, std::make_unique<DesktopNotifications>(owner, bus, file("DesktopNotifications"),
                                                                               options.name, surroundings()))),
        daemon(bus, {options.applicationID, options.name, options.icon}, notifications),
        portal(bus, notifications, isSandboxed()),
        delivery(owner, bus, notifications),
        push(owner, bus, file("DesktopPush"),
             {options.applicationID, options.name, options.vapidKey, options.acceptPlainPushes}, receiver()),
        application(
            placed(owner.application, std::make_unique<DesktopApplication>(owner, bus, file("DesktopApplication"),
                                                                           options.applicationID, hooks()))) {
    owner.screen = std::make_unique<DesktopLinks>(owner, bus, options.linkSchemes, isSandboxed());
    if (isSandboxed()) {
      notifications.useServers({&portal});
    } else {
      notifications.useServers({&daemon, &portal});
    }
  }

  std::string file(const char* name) const { return device.directories->library() + "/" + name; }

  DesktopNotifications::Surroundings surroundings() {
    return {[this] { return application.state() == UIApplicationState::active; },
            [this](const std::string& token, Task task) { application.open(token, std::move(task)); }};
  }

  PushConnector::Receiver receiver() {
    const auto onMain = [this](auto tell) { device.queues->async(Queue::main, std::move(tell)); };
    return {[onMain](const std::string& subscription) {
              onMain([token = Data(subscription.begin(), subscription.end())] {
                UIApplication::sharedApplication()->deliverDeviceToken(token);
              });
            },
            [onMain](const std::string& why) {
              onMain([why] { UIApplication::sharedApplication()->deliverRegistrationFailure(why); });
            },
            [this](std::string_view message, const std::string& identifier, bool isRepeated) {
              return delivery.received(message, identifier, isRepeated);
            }};
  }

  void watchOwner() {
    const auto changed = [this](const NSNotification&) {
      bus.perform([this] { push.belongsTo(ownerOfRegistrations()); });
    };
    for (const char* name : {kNotificationNameUserReset, kNotificationNamePushConsentChanged}) {
      NSNotificationCenter::defaultCenter()->addObserver(watcher, name, changed);
    }
  }

  DesktopApplication::Hooks hooks() {
    return {[this](bool isOurs) { push.nameIsOurs(isOurs); },
            [this](const std::string& name, const std::string& target, const std::string& token) {
              if (name != NotificationPortal::kAction) return;
              const NotificationPortal::Click click = NotificationPortal::clickOf(target);
              notifications.respond(click.identifier, click.action, token);
            },
            [this] { push.registerForPush(); }, [this] { return push.isRegistered(); }};
  }

  FreedesktopDevice& device;
  SessionBus bus;
  DesktopNotifications& notifications;  // the device owns this one and the application
  NotificationDaemon daemon;
  NotificationPortal portal;
  PushDelivery delivery;
  PushConnector push;
  DesktopApplication& application;
  std::atomic<bool> isStarted{false};
  const std::shared_ptr<void> watcher = std::make_shared<int>();  // of the owner's changes
};

FreedesktopDevice::FreedesktopDevice(Options options)
    : HeadlessDevice(headless(options)), parts_(std::make_unique<Parts>(*this, completed(std::move(options)))) {}

FreedesktopDevice::~FreedesktopDevice() { FreedesktopDevice::shutDown(); }

void FreedesktopDevice::shutDown() {
  parts_->bus.stop();
  HeadlessDevice::shutDown();
}

void FreedesktopDevice::start() {
  if (parts_->isStarted.exchange(true)) return;
  parts_->watchOwner();
  parts_->bus.perform([parts = parts_.get()] {
    parts->notifications.start();
    parts->push.start(ownerOfRegistrations());
  });
  parts_->bus.connect({&parts_->daemon, &parts_->portal, &parts_->push, &parts_->application});
}

bool FreedesktopDevice::handOver(const Options& options, const std::vector<std::string>& links) {
  if (!DesktopApplication::isBusName(options.applicationID)) return false;
  const std::string home =
      options.home.empty() ? HomeDirectories::homeOfApplication(options.applicationID) : absolutePath(options.home);
  std::string error;
  if (!fileExistsAtPath(home) || FileLock::tryNow(home + "/.lock", &error) || !error.empty()) return false;

  Device bare;
  SessionBus bus(bare, options.busAddress);
  HandOver request(bus, options.applicationID, links);
  bus.connect({&request});
  std::future<bool> isDone = request.taken.get_future();
  const bool isTaken = isDone.wait_for(HandOver::kPatience) == std::future_status::ready && isDone.get();
  bus.stop();
  return isTaken;
}

void FreedesktopDevice::setHost(const std::weak_ptr<DesktopHost>& host) { parts_->application.setHost(host); }
void FreedesktopDevice::setApplicationState(UIApplicationState state) { parts_->application.setState(state); }
void FreedesktopDevice::enterForeground() { UIApplication::sharedApplication()->deliverWillEnterForeground(); }
void FreedesktopDevice::setNotificationsAllowed(bool allowed) { parts_->notifications.setAllowed(allowed); }
std::vector<std::string> FreedesktopDevice::missing() const { return parts_->notifications.missing(); }

}  // namespace zn
