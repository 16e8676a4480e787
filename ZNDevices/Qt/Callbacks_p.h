#pragma once

#include <type_traits>
#include <utility>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zn::qt {

/// Calls a host's code, or what leads to it, from one of Qt's callbacks, through which no exception may pass: it is
/// reported, and the result is a default one.
template <class Body>
std::invoke_result_t<Body> guardedCall(Body&& body) {
  return stopExceptions(std::forward<Body>(body), [] {
    Device::current().systemLog->diagnostic("an exception left a window's host: " + currentExceptionText());
    return std::invoke_result_t<Body>();
  });
}

}  // namespace zn::qt
