// Uses something of every library, most of all what they take from others, and its own resources.
#include <iostream>

#include "ZNDevices/Freedesktop/FreedesktopDevice.h"
#include "ZNDevices/Simulator/InboxScreen.h"
#include "ZNDevices/Simulator/Simulator.h"
#include "ZNMessaging/ZNMessaging.h"

int main(int count, char**) {
  if (count > 1) {  // only so that it is linked
    zn::FreedesktopDevice::Options options;
    options.applicationID = "com.example.static-host";
    zn::Device::install(std::make_shared<zn::FreedesktopDevice>(options));
  } else {
    zn::Simulator::install();
  }
  ZNMessaging::sharedInstance();
  const auto screen = zn::InboxScreen::open();
  if (!screen) return 1;
  screen->appear();
  std::cout << "it shows " << screen->shown()["label"].string() << '\n';
}
