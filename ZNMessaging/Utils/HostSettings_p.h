#pragma once

#include <atomic>
#include <memory>

#include "ZintarCore/GuardedFields.h"

class ZNMessagingDelegate;

namespace zn {

/// What the host set at the facade and other parts of the module read; ZNMessaging.h says what each means. Thread: any.
class HostSettings {
 public:
  /// Where nothing started the module yet, asking for its settings does, as asking for the facade does.
  static HostSettings& shared();
  /// How the module is started, which the facade knows.
  static void setStart(void (*start)());

  std::atomic<bool> disableInbox{false};
  std::atomic<bool> disableBadgeReset{false};
  GuardedFields<std::weak_ptr<ZNMessagingDelegate>> messagingDelegate;
};

}  // namespace zn
