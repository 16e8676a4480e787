#pragma once

#include <memory>
#include <string>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Runtime/Runtime.h"

/// The registry of the application-delegate interceptors: objects of the run time that get the application delegate's
/// callbacks about remote notifications, in the order of their registration, before the delegate does. UIApplication
/// says which callbacks these are and what becomes of exceptions and completions.
///
/// Thread: any. Interceptors are held weakly: one that ended is no longer called.
class ZN_EXPORT ZNAppDelegateSwizzler {
 public:
  /// `isAppDelegateProxyEnabled`: the host left the proxy switched on.
  static bool isAppDelegateProxyEnabled();
  /// `proxyOriginalDelegateIncludingAPNSMethods`: from now on registered interceptors are called. Once is enough.
  static void proxyOriginalDelegateIncludingAPNSMethods();
  /// `registerAppDelegateInterceptor:`: answers the registration's identifier; "" for null. An interceptor that is
  /// registered keeps its place and its identifier.
  static std::string registerAppDelegateInterceptor(const std::shared_ptr<zn::Object>& interceptor);
  /// `unregisterAppDelegateInterceptorWithID:`; nothing for an unknown identifier.
  static void unregisterAppDelegateInterceptorWithID(const std::string& identifier);
};
