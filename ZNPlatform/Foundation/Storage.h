#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// A store whose file cannot be read or written at the moment. It keeps its changes as its own header says (in memory,
/// or in a file beside), and tries again by itself.
struct StorageProblem {
  std::string file;    ///< which store: the path of its file
  std::string reason;  ///< such as "cannot write /path: No space left on device"
  Date since;          ///< when this reason was met first
};

/// Learns that the list of problems changed: a new one, another reason, or one that is over.
///
/// Thread: the main queue. Each change is told once, soon after it; `problems` is the list after that change.
class ZN_EXPORT StorageObserver {
 public:
  virtual ~StorageObserver() = default;
  virtual void storageChanged(const std::vector<StorageProblem>& problems) = 0;
};

/// What the stores of this process cannot read or write. Thread: any.
class ZN_EXPORT Storage {
 public:
  static std::vector<StorageProblem> problems();  ///< by file; empty: all is stored
  /// Weakly held; adding one twice counts once. After `removeObserver`, on the main thread, it is not called any more.
  static void addObserver(const std::shared_ptr<StorageObserver>& observer);
  static void removeObserver(const std::shared_ptr<StorageObserver>& observer);
  /// Called at once, by whoever saves, with the path of each file that a store has replaced; it must not call the
  /// store. Replaces the one before it. Empty: none.
  static void setSaveObserver(std::function<void(const std::string& file)> observer);

  // For stores.

  /// True where that is a new reason: it belongs into the device's system log then, once no lock is held.
  static bool failed(const std::string& file, const std::string& reason);
  static void succeeded(const std::string& file);
  static void didReplace(const std::string& file);
  /// Into the device's system log: foreign code, which may use the store, so no lock may be held.
  static void report(const std::vector<std::string>& reports);
};

}  // namespace zn
