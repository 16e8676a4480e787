#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ZNDevices/Freedesktop/WebPush/P256Key_p.h"

// How a sender of pushes shows who it is: "vapid" (RFC 8292).
namespace push {

/// What the header "Authorization" says to a push server of that origin until `expires` (seconds since 1970).
/// `contact`: whom to turn to, a URL of mailto or https; "": nobody.
std::string vapidAuthorization(const zn::P256Key& key, const std::string& origin, const std::string& contact,
                               std::int64_t expires);

/// The status with which a push server refuses a push, and why.
struct VapidRefusal {
  int status;
  std::string reason;
};
/// Whether that header allows to push where only the sender with this key may. `origin`: the push server's; `now`:
/// seconds since 1970.
std::optional<VapidRefusal> vapidRefusal(std::string_view authorization, const zn::Data& publicKey,
                                         const std::string& origin, double now);

}  // namespace push
