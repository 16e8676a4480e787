#pragma once

// What both programs begin with: a device, the configuration, and two messages. A real inbox fills itself, from clicked
// notifications and from the server.
#include <iostream>
#include <string>

#include "ZNMessaging/Messaging.h"

/// The device whose pumped main queue is this thread's; null, with a line on standard error, without a configuration.
inline std::shared_ptr<zn::HeadlessDevice> startDemo(int count, char** arguments) {
  zn::HeadlessDevice::Options options;
  options.applicationID = "com.example.inbox-screen";
  options.mainQueue = zn::HeadlessDevice::MainQueue::pumped;
  const auto device = std::make_shared<zn::HeadlessDevice>(options);
  zn::Device::install(device);
  std::string error = "usage: PROGRAM CONFIGURATION";
  if (count != 2 || !ZNConfigDataManager::sharedInstance()->loadFile(arguments[1], &error)) {
    std::cerr << error << '\n';
    return nullptr;
  }
  ZNInboxHandler::sharedInstance()->resetInboxDataWithLegacyPayloadArray(*zn::parseJson(R"([
    {"data": {"aps": {"alert": {"title": "Your parcel", "body": "It comes between 14:00 and 16:00."}},
              "zintar": {"cid": "parcel-1", "inbox_expiry": 4102444800},
              "app_extra": {"screenData": {"order": 7}}}, "c_cr_t": 1699963200},
    {"data": {"aps": {"alert": {"title": "Autumn sale", "body": "20 % off until Sunday."}},
              "zintar": {"cid": "sale", "inbox_expiry": 4102444800}}, "c_cr_t": 1699704000, "isRead": true}])"));
  return device;
}
