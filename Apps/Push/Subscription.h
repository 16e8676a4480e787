#pragma once

#include <string_view>

#include "Apps/Push/Url.h"
#include "ZNDevices/Freedesktop/WebPush/P256Key_p.h"

namespace push {

/// What a device gives those who may push to it. All of it is secret.
struct Subscription {
  Url endpoint;
  zn::P256Key key;
  zn::Data auth;

  /// Of {"endpoint": URL, "keys": {"auth": …, "p256dh": …}}, or that in hexadecimal, which is the device token that
  /// servers get. Throws zn::Exception, for people, where it is none; what it says shows none of the text.
  static Subscription ofText(std::string_view text);
};

}  // namespace push
