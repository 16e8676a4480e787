// The smallest host application: it hands a clicked push to the module and looks at the inbox.
#include <iostream>

#include "ZNMessaging/Messaging.h"

class ScreenOpener : public ZNMessagingDelegate {
 public:
  void notificationClickedWithScreenName(const zn::Value& screenName, const zn::Value&) override {
    if (screenName.isString()) std::cout << "the click asks for the screen " << screenName.string() << '\n';
  }
};

int main(int count, char** arguments) {
  zn::HeadlessDevice::Options options;
  options.applicationID = "com.example.minimal-host";
  options.mainQueue = zn::HeadlessDevice::MainQueue::pumped;  // this thread is the main thread
  const auto device = std::make_shared<zn::HeadlessDevice>(options);
  zn::Device::install(device);

  std::string error = "usage: minimal-host CONFIGURATION";
  if (count != 2 || !ZNConfigDataManager::sharedInstance()->loadFile(arguments[1], &error)) {
    std::cerr << error << '\n';
    return 1;
  }
  zn::UserSession::logIn("customer-17");  // when another one logs in, or this one out, the inbox is emptied
  const auto messaging = ZNMessaging::sharedInstance();
  const auto opener = std::make_shared<ScreenOpener>();  // the module does not own it
  messaging->setMessagingDelegate(opener);               // before the start, which may deliver a click
  messaging->initializeMessagingWithLaunchOptions(zn::nil);
  const auto inbox = ZNInboxHandler::sharedInstance();
  // The start synchronises the inbox with the server. A click that comes meanwhile is recorded afterwards.
  while (inbox->syncInProgress()) device->runFor(0.1);
  std::cout << "at the start: " << inbox->getAllNotificationCount() << " in the inbox\n";

  UNNotificationResponse click;
  click.actionIdentifier = UNNotificationDefaultActionIdentifier;
  click.notification.request.content.userInfo = *zn::parseJson(
      R"({"aps": {"alert": "Here!"}, "zintar": {"cid": "parcel-1"}, "app_extra": {"screenName": "Parcels"}})");
  messaging->didReceiveNotificationResponse(UNUserNotificationCenter::currentNotificationCenter(), click);
  device->runPending();  // a host with an event loop calls this whenever device->wakeDescriptor() is readable

  std::cout << "after a click: " << inbox->getAllNotificationCount() << " in the inbox, "
            << inbox->getUnreadNotifictionCount() << " unread\n";
}
