#pragma once

#include <cstdint>

#include "Platform/Export.h"
#include "Platform/Foundation/Value.h"

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

  /// Counts the users of this process: one more after every user reset. What was asked of the server for an earlier
  /// user must not reach the next one.
  static std::uint64_t userGeneration();
  static void userWasReset();
  /// Likewise for device triggers, which an opt-out of push stops too: one more each time that what is under way for
  /// them has become void.
  static std::uint64_t triggerGeneration();
  static void triggersWereStopped();
};
