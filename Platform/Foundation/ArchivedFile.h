#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>

#include "Platform/Export.h"
#include "Platform/Foundation/KeyedArchive.h"
#include "Platform/Foundation/Mutex.h"

namespace zn {

/// A state file: one keyed archive, read once and written whole. A file that could not be read, wholly or in part, is
/// kept aside (see keepAside) before the first save replaces it.
///
/// Thread: any. Savers are put in order, and each writes the newest state; saving blocks on the disk.
class ZN_EXPORT ArchivedFile {
 public:
  /// `path` is asked for at every use; it may make the file's folder.
  explicit ArchivedFile(std::function<std::string()> path);

  /// The root object, or null: no file, one that cannot be read, or one with another root.
  template <class Root>
  std::shared_ptr<Root> load(std::span<const ArchivedClass> classes) {
    return std::dynamic_pointer_cast<Root>(
        load(classes, [](const Coding& root) { return dynamic_cast<const Root*>(&root) != nullptr; }));
  }
  /// What belongs to one save; no other save of the file comes between.
  struct Steps {
    /// Gets the bytes before they replace the file. False, with `error` filled, stops the save.
    std::function<bool(std::span<const std::uint8_t> bytes, std::string& error)> willReplace;
    /// The file holds those bytes now.
    std::function<void()> didReplace;
  };
  /// Writes what `newest` gives. False, with `error` filled, when it could not; the old file then stands.
  bool save(const std::function<std::shared_ptr<const Coding>()>& newest, std::string& error, const Steps& steps = {});

  /// Removes what was kept aside, and lets the next save replace what could not be read without keeping it.
  void forgetUnreadable();

 private:
  std::shared_ptr<Coding> load(std::span<const ArchivedClass> classes, bool (*isWanted)(const Coding& root));

  const std::function<std::string()> path_;
  Mutex mutex_;
  bool keepAside_ ZN_GUARDED_BY(mutex_) = false;
};

}  // namespace zn
