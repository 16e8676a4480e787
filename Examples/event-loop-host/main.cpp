// A host with an event loop of its own, for a machine without a desktop: it draws notifications itself, here as lines
// of text. Each line of its standard input is something that happens:
//
//     event NAME {"attribute": value, …}   the user does something, which may set off a campaign
//     push {…}                             a push arrives through the host's own channel
//     click                                the user clicks the newest notification
#include <poll.h>
#include <unistd.h>

#include <iostream>
#include <string>

#include "ZNMessaging/Messaging.h"

namespace {

// What a click asks for. A real host opens screens and links; this one says which.

class Opener : public ZNMessagingDelegate {
 public:
  void notificationClickedWithScreenName(const zn::Value& screenName, const zn::Value& pairs) override {
    if (screenName.isString()) std::cout << "open the screen " << screenName.string() << std::endl;
    if (pairs.isDictionary()) std::cout << "  with " << zn::jsonText(pairs) << std::endl;
  }
};

class Links : public zn::DeviceScreen {
 public:
  void openLink(zn::LinkKind, const std::string& url) override { std::cout << "open " << url << std::endl; }
};

class Host : public std::enable_shared_from_this<Host> {
 public:
  /// Called with every notification that the module posts, on a thread of the device's.
  void show(const UNNotificationContent& content) {
    zn::dispatchAsync(zn::Queue::main, [self = shared_from_this(), content] {
      std::cout << "notification: " << content.title.string() << ": " << content.body.string() << std::endl;
      self->newest_ = content.userInfo;
    });
  }

  void happens(const std::string& line) {
    const std::size_t blank = line.find(' ');
    const std::string what = line.substr(0, blank);
    const std::string rest = blank == std::string::npos ? "" : line.substr(blank + 1);
    if (what == "event") {
      track(rest);
    } else if (what == "push") {
      receive(rest);
    } else if (what == "click") {
      click();
    } else {
      std::cout << "not understood: " << what << std::endl;
    }
  }

 private:
  void track(const std::string& text) {
    const std::size_t blank = text.find(' ');
    zn::JsonError error;
    const auto attributes = zn::parseJson(blank == std::string::npos ? "{}" : text.substr(blank + 1), &error);
    if (!attributes) {
      std::cout << error.text << std::endl;
      return;
    }
    ZNAnalytics::sharedInstance()->trackEvent(text.substr(0, blank), ZNProperties::initWithAttributes(*attributes));
  }

  void receive(const std::string& text) {
    zn::JsonError error;
    const auto payload = zn::parseJson(text, &error);
    if (!payload) {
      std::cout << error.text << std::endl;
      return;
    }
    ZNMessaging::sharedInstance()->didReceieveNotificationinApplication(UIApplication::sharedApplication(), *payload);
    newest_ = *payload;
  }

  void click() {
    UNNotificationResponse response;
    response.actionIdentifier = UNNotificationDefaultActionIdentifier;
    response.notification.request.content.userInfo = newest_;
    const auto center = UNUserNotificationCenter::currentNotificationCenter();
    ZNMessaging::sharedInstance()->didReceiveNotificationResponse(center, response);
  }

  zn::Value newest_;  // the payload of the newest notification; main thread
};

/// Waits for two things at once: lines on standard input, and work for the main thread.
void runEventLoop(zn::HeadlessDevice& device, Host& host) {
  std::string input;
  pollfd waited[] = {{STDIN_FILENO, POLLIN, 0}, {device.wakeDescriptor(), POLLIN, 0}};
  while (poll(waited, 2, -1) >= 0) {
    if (waited[1].revents) device.runPending();
    if (!waited[0].revents) continue;
    char bytes[4096];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof bytes);
    if (count <= 0) return;
    input.append(bytes, static_cast<std::size_t>(count));
    for (std::size_t end = 0; (end = input.find('\n')) != std::string::npos; input.erase(0, end + 1)) {
      host.happens(input.substr(0, end));
    }
  }
}

}  // namespace

int main(int count, char** arguments) {
  const auto host = std::make_shared<Host>();
  zn::HeadlessDevice::Options options;
  options.applicationID = "com.example.event-loop-host";
  options.mainQueue = zn::HeadlessDevice::MainQueue::pumped;
  const auto device = std::make_shared<zn::HeadlessDevice>(options);
  // Takes what the module wants to show; without it there is nowhere to show anything, and no campaign fires.
  device->notifications = std::make_unique<zn::NotificationRecorder>(
      [host](const UNNotificationRequest& request) { host->show(request.content); });
  device->screen = std::make_unique<Links>();
  zn::Device::install(device);

  std::string error = "usage: event-loop-host CONFIGURATION";
  const auto configuration = ZNConfigDataManager::sharedInstance();
  if (count != 2 || !configuration->loadFile(arguments[1], &error)) {
    std::cerr << error << '\n';
    return 1;
  }
  configuration->apply(zn::Value::dictionary({{"realTimeTriggersEnabled", true}}));
  zn::UserSession::logIn("customer-17");

  const auto opener = std::make_shared<Opener>();  // the module does not own it
  ZNMessaging::sharedInstance()->setMessagingDelegate(opener);
  NSNotificationCenter::defaultCenter()->addObserver(
      opener, Zintar_Notification_Received_Notification, [](const NSNotification& notification) {
        std::cout << "received or clicked: " << zn::jsonText(notification.userInfo["zintar"]["cid"]) << std::endl;
      });
  ZNMessaging::sharedInstance()->initializeMessagingWithLaunchOptions(zn::nil);
  runEventLoop(*device, *host);
  ZNAnalytics::sharedInstance()->flushWithCompletionBlock(nullptr);  // what is not sent stays queued on disk
}
