#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <string>

#include "ZNDevices/Simulator/Effects_p.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/HomeDirectories.h"

namespace zn {

class SimulatedApplication : public DeviceApplication {
 public:
  explicit SimulatedApplication(EffectSinkPtr effects) : effects_(std::move(effects)) {}

  UIApplicationState state() const override { return state_; }
  void setBadge(long number) override;
  bool isRegisteredForRemoteNotifications() const override { return registered_; }
  void registerForRemoteNotifications() override;
  UIBackgroundTaskIdentifier beginBackgroundTask(std::function<void()> expirationHandler) override;
  void endBackgroundTask(UIBackgroundTaskIdentifier identifier) override;

  void setState(UIApplicationState state) { state_ = state; }
  void setBadgeSilently(long number) { DeviceApplication::setBadge(number); }
  void setRegistered(bool registered) { registered_ = registered; }
  /// Exceptions that leave a handler go to `log`.
  void expireBackgroundTasks(DeviceSystemLog& log);

 private:
  const EffectSinkPtr effects_;
  std::atomic<UIApplicationState> state_{UIApplicationState::active};
  std::atomic<bool> registered_{false};
  Mutex mutex_;
  UIBackgroundTaskIdentifier lastTask_ ZN_GUARDED_BY(mutex_) = UIBackgroundTaskInvalid;
  std::map<UIBackgroundTaskIdentifier, std::function<void()>> tasks_ ZN_GUARDED_BY(mutex_);
};

/// The home folder: a given one, locked for this process, or a temporary one that is removed at the end.
class SimulatedDirectories : public HomeDirectories {
 public:
  /// Throws Exception when the folder cannot be made or is in use.
  SimulatedDirectories(const std::string& home, EffectSinkPtr effects);
  ~SimulatedDirectories() override;
  /// Shows that a store was saved, where it is one that hosts know.
  void showSaved(const std::string& file) const;
  void removeIfTemporary();
  /// The text with the name of a temporary home, which is another one on every run, as "~".
  std::string withoutTemporaryHome(std::string text) const;

 private:
  const EffectSinkPtr effects_;
  const bool isTemporary_;
  bool isRemoved_ = false;
};

class SimulatedSystemLog : public DeviceSystemLog {
 public:
  explicit SimulatedSystemLog(EffectSinkPtr effects) : effects_(std::move(effects)) {}
  void write(const std::string& text) override { effects_->emit("syslog", text); }

 private:
  const EffectSinkPtr effects_;
};

}  // namespace zn
