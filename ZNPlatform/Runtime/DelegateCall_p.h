#pragma once

#include <memory>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Runtime/Runtime.h"

namespace zn {

/// Calls an implementation, if there is one. An exception that it raises ends the callback, and is reported where
/// `reportsExceptions` says so; an implementation that takes other arguments is a mistake that its author would not
/// find otherwise, and is always reported.
template <class... A>
Delivery callImplementation(const MethodPtr& method, bool reportsExceptions, Object& receiver, Selector selector,
                            const A&... arguments) {
  if (!method) return Delivery::nobody;
  if (method == Method::missing()) return Delivery::unrecognized;
  std::string trouble;
  const auto call = [&] {
    try {
      method->call<void>(receiver, selector, arguments...);
      return Delivery::called;
    } catch (const MethodMismatch& mismatch) {
      trouble = mismatch.reason();
      return Delivery::raised;
    }
  };
  const Delivery outcome = stopExceptions(call, [&] {
    if (reportsExceptions) {
      trouble = receiver.isa().name() + " " + selector.name() + " raised an exception: " + currentExceptionText();
    }
    return Delivery::raised;
  });
  if (!trouble.empty()) Device::current().systemLog->diagnostic(trouble);
  return outcome;
}

/// Calls the delegate's implementation of the selector. What it raises ends the callback silently, as on any platform
/// of this kind.
template <class... A>
Delivery callDelegate(const std::shared_ptr<Object>& delegate, Selector selector, const A&... arguments) {
  if (!delegate) return Delivery::nobody;
  return callImplementation(boundImplementation(*delegate, selector), false, *delegate, selector, arguments...);
}

}  // namespace zn
