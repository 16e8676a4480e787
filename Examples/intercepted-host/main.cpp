// A host application that hands no callback on: its notification delegate joins the run time, and the delegate proxy
// puts the module in front of it. Started without "with-proxy" the module hears of nothing, and broadcasts nothing.
#include <iostream>
#include <string_view>

#include "ZNMessaging/Messaging.h"

class ShopDelegate : public zn::Object {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine =
        zn::ClassBuilder<ShopDelegate>("ShopDelegate")
            .conformsTo(kProtocolUserNotificationCenterDelegate)
            .implements(kSelectorDidReceiveNotificationResponse, &ShopDelegate::didReceive)
            .build();
    return *mine;
  }

 private:
  void didReceive(const std::shared_ptr<UNUserNotificationCenter>&, const UNNotificationResponse& response,
                  const std::function<void()>& completion) {
    std::cout << "the shop hears of a click on " << response.notification.request.identifier << '\n';
    completion();
  }
};

int main(int count, char** arguments) {
  zn::HeadlessDevice::Options options;
  options.applicationID = "com.example.intercepted-host";
  options.mainQueue = zn::HeadlessDevice::MainQueue::pumped;
  const auto device = std::make_shared<zn::HeadlessDevice>(options);
  zn::Device::install(device);

  std::string error = "usage: intercepted-host CONFIGURATION [with-proxy]";
  if (count < 2 || !ZNConfigDataManager::sharedInstance()->loadFile(arguments[1], &error)) {
    std::cerr << error << '\n';
    return 1;
  }
  const bool withProxy = count > 2 && std::string_view(arguments[2]) == "with-proxy";
  ZNConfigDataManager::sharedInstance()->apply(zn::Value::dictionary({{"appDelegateProxyEnabled", withProxy}}));

  zn::UserSession::logIn("customer-17");

  const auto center = UNUserNotificationCenter::currentNotificationCenter();
  const auto shop = std::make_shared<ShopDelegate>();  // the centre does not own it
  center->setDelegate(shop);
  NSNotificationCenter::defaultCenter()->addObserver(
      shop, Zintar_Notification_Received_Notification,
      [](const NSNotification&) { std::cout << "the module broadcasts the click\n"; });
  ZNMessaging::sharedInstance()->initializeMessagingWithLaunchOptions(zn::nil);

  // What the machine does when the user clicks a notification.
  UNNotificationResponse click;
  click.actionIdentifier = UNNotificationDefaultActionIdentifier;
  click.notification.request.identifier = "parcel";
  click.notification.request.content.userInfo =
      *zn::parseJson(R"({"aps": {"alert": "Your parcel is here."}, "zintar": {"cid": "parcel-1"}})");
  center->deliverResponse(click, [] { std::cout << "the click is dealt with\n"; });
  device->runPending();
}
