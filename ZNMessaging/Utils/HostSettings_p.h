#pragma once

#include <atomic>
#include <memory>

#include "ZNPlatform/Foundation/Mutex.h"

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
  std::shared_ptr<ZNMessagingDelegate> messagingDelegate() const;  ///< null once it has gone
  void setMessagingDelegate(const std::shared_ptr<ZNMessagingDelegate>& delegate);

 private:
  mutable Mutex mutex_;
  std::weak_ptr<ZNMessagingDelegate> messagingDelegate_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zn
