#pragma once

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

/// Helpers that all parts of the module use. Thread: any.
class ZN_EXPORT ZNMessagingUtils {
 public:
  /// `statsEventAttributesFromPayload:`: the attributes of every click, dismiss and action event: the payload's
  /// "zintar" dictionary without its contents keys, plus "template_name" for a rich template. A mutable dictionary;
  /// empty for a payload without that dictionary.
  static zn::Value statsEventAttributesFromPayload(const zn::Value& payload);

  /// Whether the delegate proxy is in place (`isAppDelegateProxyConfigured`); set once by `appDelegateProxyConfigured`,
  /// never reset.
  static bool isAppDelegateProxyConfigured();
  static void appDelegateProxyConfigured();
};
