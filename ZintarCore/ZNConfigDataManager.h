#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/Value.h"

/// The account's configuration. Until one says "accountActive": true the library does nothing. At the first step that
/// is left undone the system log is told so: once where no configuration is loaded, once where the account is inactive.
///
/// Thread: any. Reads are cheap.
class ZN_EXPORT ZNConfigDataManager {
 public:
  static const std::shared_ptr<ZNConfigDataManager>& sharedInstance();

  /// Reads a JSON file (comments allowed; the example in Examples/configuration.json explains every key) and applies
  /// it as `apply` does. On failure nothing is changed, and `error`, if given, names the file, the place and what to
  /// do.
  bool loadFile(const std::string& path, std::string* error = nullptr);

  /// Sets the given keys, leaves the others. Throws zn::Exception that names the first key that is unknown or has the
  /// wrong type; nothing is changed then. Keys: accountActive, sdkEnabled, inboxServiceActive, realTimeTriggersEnabled,
  /// appDelegateProxyEnabled (booleans), appID, appGroupID, appVersion (strings), inboxDefaultExpiry,
  /// realTimeTriggerSyncInterval (seconds), queryParams (dictionary or null), server (dictionary; of it too only the
  /// given keys are set: "address", with http only on this machine unless "allowPlainHttp" is true, "endpoints" with a
  /// path for each service, and a request's "connectTimeout" and "timeout" in seconds and "maximumResponseBytes").
  ///
  /// May be called again at any time. Where a value differs from the one before, kNotificationNameUpdateModules is
  /// posted on this thread, so that modules that run already go by it at once: an account that becomes active later
  /// needs no restart. A host that has its configuration at the start applies it before it makes any module.
  void apply(const zn::Value& configuration);
  /// The same without telling the modules, which see the values at their next step, and from then on without telling
  /// the system log of an inactive account: for simulators and tests. True where a value differs from the one before.
  bool applySilently(const zn::Value& configuration);

  bool isAccountActive() const;  ///< the account is active on the server's side
  bool isSDKEnabled() const;
  bool isInboxServiceActive() const;
  bool isRealTimeTriggersEnabled() const;
  bool isAppDelegateProxyEnabled() const;
  zn::Value getZinAppID() const;               ///< string, or nil
  bool hasZinAppID() const;                    ///< the application id is there and not empty; as cheap as a flag
  zn::Value getAppGroupID() const;             ///< string, or nil
  std::int64_t getInboxDefaultExpiry() const;  ///< seconds; 0 when not configured
  std::int64_t getRealTimeTriggerSyncInterval() const;  ///< seconds
  std::string appVersion() const;
  zn::Value queryParams() const;  ///< dictionary, or nil
  /// Path of a service below the server's address, or nil when the configuration names none. See ZNNetworkRequest.
  zn::Value endpointForService(std::string_view service) const;
  zn::Value serverAddress() const;  ///< string ("http://…" or "https://…", without a query), or nil
  // Limits of a request; nothing when not configured. zn::HttpTransport has the defaults.
  std::optional<double> serverConnectTimeout() const;  ///< seconds
  std::optional<double> serverTimeout() const;         ///< seconds
  std::optional<std::int64_t> serverMaximumResponseBytes() const;

  /// The host's explicit opt-out of push notifications, kept in the library's own user defaults; not opted out at
  /// first.
  bool isPushNotificationEnabled() const;  ///< `isPushNotificationEnabled`: not opted out
  /// Posts kNotificationNamePushConsentChanged where it differs from before.
  void setUserPushNotificationOptedOut(bool optedOut);
  /// Told about every call of setUserPushNotificationOptedOut, on the caller's thread; for simulators and tests. It
  /// must not call the library. Empty removes it.
  void setPushOptOutObserver(std::function<void(bool optedOut)> observer);

  ZNConfigDataManager();

 private:
  struct Settings;
  std::shared_ptr<const Settings> settings() const;
  bool change(const zn::Value& configuration);

  mutable zn::Mutex mutex_;
  std::shared_ptr<const Settings> settings_ ZN_GUARDED_BY(mutex_);
  std::function<void(bool)> pushOptOutObserver_ ZN_GUARDED_BY(mutex_);
  std::atomic<bool> isLoaded_{false};
  std::atomic<bool> accountActive_{false};  // copies of some settings, for the path of every tracked event
  std::atomic<bool> sdkEnabled_{true};
  std::atomic<bool> hasAppID_{false};
  std::atomic<bool> realTimeTriggersEnabled_{false};
  mutable std::atomic<bool> reportedMissing_{false};
  mutable std::atomic<bool> reportedInactive_{false};
};
