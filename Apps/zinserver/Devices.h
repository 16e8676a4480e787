#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Apps/Push/Subscription.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zinserver {

/// The devices whose records came, by installation: one that subscribes anew stays the same device. Kept in the
/// folder's devices.json (mode 0600); what cannot be written is said on standard error, and written with the next
/// change. Thread: any.
class Devices {
 public:
  /// `folder`: "" for none; it is made where it is missing, and is this process's until the end. Throws zn::Exception
  /// where it cannot be used.
  explicit Devices(const std::string& folder);

  /// Of the events of a request. Whether any device is new, or subscribed anew.
  bool takeRecords(const zn::Value& events, double time);
  zn::Value shown() const;  ///< without secrets
  bool remove(const std::string& id);

  /// Those that can be pushed to.
  std::vector<std::string> subscribed() const;
  std::optional<push::Subscription> subscriptionOf(const std::string& id) const;
  /// A push server calls it gone. A newer one of that device stays.
  void forget(const std::string& id, const push::Subscription& subscription);

  // What of pushes.json a device got already.
  bool hasGot(const std::string& id, const std::string& push) const;
  void setGot(const std::string& id, const std::string& push);  ///< to be saved
  void save();

 private:
  struct Device {
    double since = 0;
    double lastRecord = 0;  // seconds since 1970
    zn::Value attributes{};
    std::string token{};  // "": not subscribed
    std::set<std::string> got{};
  };
  void read();
  bool takeRecord(const zn::Value& record, double time);
  std::string textToSave() const;

  const std::string file_;  // "": none
  std::optional<zn::FileLock> folderLock_;
  zn::Mutex saving_;  // taken before the other one
  mutable zn::Mutex mutex_;
  std::map<std::string, Device> devices_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zinserver
