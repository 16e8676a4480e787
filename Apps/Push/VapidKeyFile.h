#pragma once

#include <string>

#include "ZNDevices/Freedesktop/WebPush/P256Key_p.h"

namespace push {

/// $XDG_CONFIG_HOME/zinpush/vapid.pem. Throws zn::Exception where there is no home.
std::string usualVapidKeyFile();

/// The sender's key, which devices subscribe for: whoever loses it loses them. Made where there is no such file (mode
/// 0600, its folder 0700), and never overwritten: of several processes that make it at once all get the same one.
/// Throws zn::Exception, which says what to do, for a file that others can read or that holds no such key.
zn::P256Key vapidKeyIn(const std::string& path);

}  // namespace push
