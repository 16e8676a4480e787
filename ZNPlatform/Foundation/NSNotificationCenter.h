#pragma once

#include <functional>
#include <memory>
#include <string>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

struct NSNotification {
  std::string name;
  zn::Value userInfo;  ///< a dictionary, or nil
};

/// Broadcasts inside the process. Thread: any; observers run on the posting thread, in the order in which they were
/// added, without any lock held, and may add, remove and post. An observer whose owner is gone is skipped. An observer
/// that throws does not keep the others from being called; its exception is reported to the device's system log.
class ZN_EXPORT NSNotificationCenter {
 public:
  using Observer = std::function<void(const NSNotification&)>;

  static std::shared_ptr<NSNotificationCenter> defaultCenter();

  /// Observes notifications of that name; an empty name means every notification. The observer is called while `owner`
  /// lives (it is kept alive during the call) and until removeObserver.
  void addObserver(std::weak_ptr<void> owner, std::string name, Observer observer);
  /// Removes all observers of that owner.
  void removeObserver(const std::shared_ptr<void>& owner);
  void postNotificationName(const std::string& name, const zn::Value& userInfo = {});

  NSNotificationCenter();
  ~NSNotificationCenter();

 private:
  struct State;
  std::unique_ptr<State> state_;
};
