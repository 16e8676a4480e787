#pragma once

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

/// Is told which message the user tapped in the inbox screen, on the main thread. Both operations are optional; the one
/// that a host does not override does nothing. What they throw is written to the system log; the rest of the tap is
/// then left out.
class ZN_EXPORT ZNInboxCellSelectedDelegate {
 public:
  virtual ~ZNInboxCellSelectedDelegate();
  /// `inboxCellSelectedWithData:`: the data for the screen to open (a dictionary), or nil.
  virtual void inboxCellSelectedWithData(const zn::Value& data);
  /// `inboxCellSelectedWithPushDict:`: the push payload, with the click recorded in it.
  virtual void inboxCellSelectedWithPushDict(const zn::Value& payload);
};
