#pragma once

#include <type_traits>
#include <utility>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"

namespace zn {

inline constexpr const char* kScreenFailure = "Zintar - Exception : %@";

/// As `guarded`, but the failure goes to the system log: that is where a host's developer looks when a screen
/// misbehaves.
template <class Body>
std::invoke_result_t<Body> guardedOnScreen(const char* message, Body&& body) {
  return stopExceptions(std::forward<Body>(body), [&] {
    Device::current().systemLog->write(zn::format(message, currentExceptionText()));
    return std::invoke_result_t<Body>();
  });
}

}  // namespace zn
