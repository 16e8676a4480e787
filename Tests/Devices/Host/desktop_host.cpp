// An application on a desktop for tests: `desktop_host HOME`, until its standard input ends. With a further argument,
// "plain", it accepts plain pushes. It takes commands, a JSON object a line, whose "do" says what:
//
//     {"do": "authorize"}  {"do": "allow", "allowed": BOOL}  {"do": "register"}   {"do": "settings"}
//     {"do": "post", "id": …, "title": …, "body": …, "category": …, "image": PATH, "delay": SECONDS}
//     {"do": "remove", "ids": […]}  {"do": "removePending", "ids": […]}  {"do": "removeAll"}
//     {"do": "logIn", "user": …}  {"do": "optOut", "out": BOOL}
//     {"do": "shown"}  {"do": "pending"}  {"do": "missing"}  {"do": "kept"}  {"do": "activate", "options": NUMBER}
//
// and tells what happens, likewise: "event" is "ready", "authorized", "settings", "posted", "shown", "pending",
// "missing", "kept" (what waits for the inbox), "token", "no token", "push", "response", "asked" (whether to show) or
// "diagnostic".

#include <cstdio>
#include <iostream>
#include <map>
#include <memory>
#include <string>

#include "ZNDevices/Freedesktop/FreedesktopDevice.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZintarCore/UserSession.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"

namespace {

using zn::Value;

void tell(const char* event, Value more = Value::dictionary()) {
  more.setObjectNilHandled(event, "event");
  std::puts(zn::jsonText(more).c_str());
  std::fflush(stdout);
}

class Log final : public zn::DeviceSystemLog {
 public:
  void write(const std::string&) override {}
  void diagnostic(const std::string& text) override { tell("diagnostic", Value::dictionary({{"text", text}})); }
};

/// The delegate of the application and of its notification centre.
class Host final : public zn::Object {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine =
        zn::ClassBuilder<Host>("DesktopHost")
            .conformsTo(kProtocolUserNotificationCenterDelegate)
            .implements(kSelectorDidRegisterForRemoteNotifications, &Host::didRegister)
            .implements(kSelectorDidFailToRegisterForRemoteNotifications, &Host::didFail)
            .implements(kSelectorDidReceiveRemoteNotification, &Host::didReceive)
            .implements(kSelectorDidReceiveNotificationResponse, &Host::didRespond)
            .implements(kSelectorWillPresentNotification, &Host::willPresent)
            .build();
    return *mine;
  }
  std::atomic<unsigned> options{0};

 private:
  void didRegister(const std::shared_ptr<UIApplication>&, const zn::Data& token) {
    ZNCoreUtils::saveDeviceToken(ZNCoreUtils::hexTokenForData(token));  // as the module does
    tell("token", Value::dictionary({{"token", std::string(token.begin(), token.end())}}));
  }
  void didFail(const std::shared_ptr<UIApplication>&, const std::string& why) {
    tell("no token", Value::dictionary({{"why", why}}));
  }
  void didReceive(const std::shared_ptr<UIApplication>&, const Value& payload) {
    tell("push", Value::dictionary({{"payload", payload}}));
  }
  void didRespond(const std::shared_ptr<UNUserNotificationCenter>&, const UNNotificationResponse& response,
                  const std::function<void()>& completion) {
    const bool isInactive = UIApplication::sharedApplication()->applicationState() == UIApplicationState::inactive;
    tell("response", Value::dictionary({{"id", response.notification.request.identifier},
                                        {"title", response.notification.request.content.title},
                                        {"action", response.actionIdentifier},
                                        {"opens", isInactive}}));
    completion();
  }
  void willPresent(const std::shared_ptr<UNUserNotificationCenter>&, const UNNotification& notification,
                   const std::function<void(unsigned)>& completion) {
    tell("asked", Value::dictionary({{"id", notification.request.identifier}}));
    completion(options);
  }
};

class Commands {
 public:
  explicit Commands(std::shared_ptr<zn::FreedesktopDevice> device) : device_(std::move(device)) {
    centre_->setDelegate(host_);
    UIApplication::sharedApplication()->setDelegate(host_);
    centre_->setNotificationCategories({{"OFFER", {{"BUY", "Buy now", 4}, {"LATER", "Remind me later", 0}}, {}, 1}});
    tell("ready");
    for (int times = 0; times < 2; ++times) device_->start();  // the second call does nothing
  }

  void run(const Value& command) {
    const std::string name(command["do"].string());
    if (name == "authorize") {
      centre_->requestAuthorizationWithOptions(7, [](bool granted, const std::optional<std::string>& error) {
        tell("authorized", Value::dictionary({{"granted", granted}, {"error", error ? Value(*error) : zn::nil}}));
      });
    } else if (name == "allow") {
      device_->setNotificationsAllowed(command["allowed"].boolean());
    } else if (name == "settings") {
      centre_->getNotificationSettingsWithCompletionHandler([](const UNNotificationSettings& settings) {
        tell("settings", Value::dictionary({{"alert", static_cast<int>(settings.alertSetting)}}));
      });
    } else if (name == "register") {
      UIApplication::sharedApplication()->registerForRemoteNotifications();
    } else if (name == "logIn") {
      zn::UserSession::logIn(std::string(command["user"].string()));
    } else if (name == "optOut") {
      ZNConfigDataManager::sharedInstance()->setUserPushNotificationOptedOut(command["out"].boolean());
    } else if (name == "activate") {
      host_->options = static_cast<unsigned>(command["options"].integer());
      device_->setApplicationState(UIApplicationState::active);
    } else if (name == "missing") {
      Value list = Value::array();
      for (const std::string& each : device_->missing()) list.append(each);
      tell("missing", Value::dictionary({{"what", list}}));
    } else if (name == "kept") {
      tellKept();
    } else {
      runOnList(name, command);
    }
  }

 private:
  void runOnList(const std::string& name, const Value& command) {
    std::vector<std::string> ids;
    for (const Value& each : command["ids"].elements()) ids.emplace_back(each.string());
    if (name == "post") {
      post(command);
    } else if (name == "remove") {
      centre_->removeDeliveredNotificationsWithIdentifiers(ids);
    } else if (name == "removePending") {
      centre_->removePendingNotificationRequestsWithIdentifiers(ids);
    } else if (name == "removeAll") {
      centre_->removeAllDeliveredNotifications();
    } else if (name == "shown") {
      centre_->getDeliveredNotificationsWithCompletionHandler([](const std::vector<UNNotification>& all) {
        Value list = Value::array();
        for (const UNNotification& each : all) list.append(each.request.identifier);
        tell("shown", Value::dictionary({{"ids", list}}));
      });
    } else if (name == "pending") {
      centre_->getPendingNotificationRequestsWithCompletionHandler([](const std::vector<UNNotificationRequest>& all) {
        Value list = Value::array();
        for (const UNNotificationRequest& each : all) list.append(each.identifier);
        tell("pending", Value::dictionary({{"ids", list}}));
      });
    } else {
      tell("unknown command");
    }
  }

  void post(const Value& command) {
    UNNotificationRequest request;
    request.identifier = command["id"].string();
    request.content.title = command["title"];
    request.content.body = command["body"];
    request.content.categoryIdentifier = command["category"];
    if (command["image"].isString()) request.content.attachments.emplace_back(command["image"].string());
    if (command["delay"].isNumber())
      request.trigger = UNTimeIntervalNotificationTrigger{command["delay"].doubleValue()};
    centre_->addNotificationRequest(request, [id = command["id"]](const std::optional<std::string>& error) {
      tell("posted", Value::dictionary({{"id", id}, {"error", error ? Value(*error) : zn::nil}}));
    });
  }

  static void tellKept() {
    Value campaigns = Value::array();
    const auto store = NSUserDefaults::initWithSuiteName("group.test");
    const Value list = store->objectForKey("app-1")[zn::payload::pendingNotifications];
    for (const Value& each : list.elements()) campaigns.append(each.validObjectForKeyPath("zintar.cid"));
    tell("kept", Value::dictionary({{"campaigns", campaigns}}));
  }

  const std::shared_ptr<zn::FreedesktopDevice> device_;
  const std::shared_ptr<Host> host_ = std::make_shared<Host>();
  const std::shared_ptr<UNUserNotificationCenter> centre_ = UNUserNotificationCenter::currentNotificationCenter();
};

}  // namespace

int main(int count, char** arguments) {
  if (count != 2 && count != 3) return 2;
  zn::FreedesktopDevice::Options options;
  options.applicationID = "com.example.Shop";
  options.name = "The Shop";
  options.home = arguments[1];
  options.acceptPlainPushes = count == 3 && std::string(arguments[2]) == "plain";
  const auto device = std::make_shared<zn::FreedesktopDevice>(options);
  device->systemLog = std::make_unique<Log>();
  zn::Device::install(device);
  ZNConfigDataManager::sharedInstance()->apply(Value::dictionary(
      {{"accountActive", true}, {"inboxServiceActive", true}, {"appID", "app-1"}, {"appGroupID", "group.test"}}));
  Commands commands(device);
  for (std::string line; std::getline(std::cin, line);) {
    const Value command = zn::parseJson(line).value_or(zn::nil);
    device->queues->async(zn::Queue::main, [&commands, command] { commands.run(command); });
  }
  device->shutDown();
}
