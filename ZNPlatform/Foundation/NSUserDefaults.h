#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {
class DefaultsStore;
}

/// A store of small values, kept as one property list at `Preferences/NAME.plist` below the device's home and shared
/// between processes: readers see what another process wrote, and `transaction` excludes other writers while it reads
/// and writes.
///
/// Thread: any. Every write reaches the disk before the call returns. Where it cannot (full or read-only disk) the
/// change stays visible in this process, is reported once to the device's system log, and is written with the next
/// change. A store file that cannot be read counts as empty and is kept aside before it is replaced.
class ZN_EXPORT NSUserDefaults {
 public:
  /// The host application's own store ("standard").
  static std::shared_ptr<NSUserDefaults> standardUserDefaults();
  /// `initWithSuiteName:`. Objects of one name share one state. Throws zn::Exception for a name that cannot be a file's
  /// (empty, longer than 200 bytes, with '/' or a control character, or beginning with a dot).
  static std::shared_ptr<NSUserDefaults> initWithSuiteName(const std::string& name);
  static bool canNameSuite(std::string_view name);  ///< initWithSuiteName would not throw

  zn::Value objectForKey(std::string_view key) const;  ///< nil when missing
  bool boolForKey(std::string_view key) const;         ///< false when missing or not convertible
  /// Stores a value; nil removes the key. Throws zn::Exception for null or what nests too deep for a property list.
  void setObject(const zn::Value& value, std::string_view key);
  void setBool(bool value, std::string_view key) { setObject(value, key); }
  void removeObjectForKey(std::string_view key);
  /// Writes what could not be written before. True when nothing is left unwritten.
  bool synchronize();

  /// Reads, changes and writes the whole store as one step against every other process and thread: `change` gets the
  /// present contents (a dictionary) and edits them in place; nothing is written when it leaves them equal. `change`
  /// must be short and must not use this store. An exception that leaves it is passed on and nothing is changed.
  void transaction(const std::function<void(zn::Value& contents)>& change);
  /// The same, all or nothing: where the store cannot be written, or other writers keep it for longer than `patience`
  /// (none: as long as it takes), nothing is changed in this process either, and the result is false with `error`
  /// filled.
  bool tryTransaction(const std::function<void(zn::Value& contents)>& change, std::string& error,
                      std::optional<std::chrono::milliseconds> patience = {});
  /// Appends to the list at the end of these keys, each one below the one before, as one step like `tryTransaction`;
  /// dictionaries and the list are made where there are none. Appends to the same list in a row cost the same however
  /// long it is. Throws zn::Exception for what nests too deep for a property list, or without a key.
  bool tryAppend(const zn::Value& element, const std::vector<std::string>& keys, std::string& error,
                 std::optional<std::chrono::milliseconds> patience = {});
  /// As `transaction`, for a thread that must not stand still: false, and nothing is changed, where other writers keep
  /// the store for longer than `patience`.
  bool transaction(const std::function<void(zn::Value& contents)>& change, std::chrono::milliseconds patience);

 private:
  explicit NSUserDefaults(const std::string& name);
  const std::shared_ptr<zn::DefaultsStore> store_;
};
