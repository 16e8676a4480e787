#pragma once

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

/// What the host is told about clicks. Both operations are optional; a click that names a screen calls both, in this
/// order, on the thread that handles the click (the main thread). They may throw; the module logs it.
class ZN_EXPORT ZNMessagingDelegate {
 public:
  virtual ~ZNMessagingDelegate();
  /// `notificationClickedWithScreenName:andKVPairs:`. Either may be nil; screen names are strings, pairs dictionaries.
  virtual void notificationClickedWithScreenName(const zn::Value& screenName, const zn::Value& kvPairs);
  /// `notificationClickedWithScreenName:KVPairs:andPushPayload:`
  virtual void notificationClickedWithScreenNameKVPairsAndPushPayload(const zn::Value& screenName,
                                                                      const zn::Value& kvPairs,
                                                                      const zn::Value& pushPayload);
};
