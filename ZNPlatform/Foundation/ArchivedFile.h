#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZNPlatform/Foundation/Mutex.h"

namespace zn {

/// A state file: one keyed archive, read once and written whole.
///
/// A file that was read and is damaged, wholly or in part, or that is no file to read, is kept aside (see keepAside)
/// before the first save replaces it. One that cannot be read now (no descriptors, no permission, a failing disk) is
/// not damaged: it stays untouched, saves go to "NAME.later" beside it, and every save and `retry` reads again. Once it
/// can be read, its owner puts what it holds below the present state, the next save writes it, and "NAME.later" goes.
/// What cannot be read or written, and what is kept aside, is said in the device's system log, once a cause;
/// zn::Storage tells of the former.
///
/// Thread: any. Savers are put in order, and each writes the newest state; reading and saving block on the disk.
class ZN_EXPORT ArchivedFile {
 public:
  /// Gets the root object of what was read and must put it below the state in memory, which is newer: what stands in
  /// memory already counts. It may come a second time after the end of a process, and must then change nothing. Runs
  /// within `load`, `retry` and `save`; must not call this object.
  using Adopt = std::function<void(const std::shared_ptr<Coding>& root)>;

  /// `path` is asked for at every use; it may make the file's folder. A file of more than `maximumSize` bytes counts as
  /// damaged, and a save of more fails.
  explicit ArchivedFile(std::function<std::string()> path, std::size_t maximumSize = kMaximumStateFile);

  /// Reads what is there, once, before anything else is called. `adopt` gets nothing where there is no file, none that
  /// can be read, or one with another root.
  template <class Root>
  void load(std::span<const ArchivedClass> classes, std::function<void(const std::shared_ptr<Root>& root)> adopt) {
    load(
        classes, [](const Coding& root) { return dynamic_cast<const Root*>(&root) != nullptr; },
        [adopt = std::move(adopt)](const auto& root) { adopt(std::dynamic_pointer_cast<Root>(root)); });
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
  /// Reads what could not be read before. True where a save is due: the last one failed, or what stood in "NAME.later"
  /// belongs into the file now.
  bool retry();

  /// The owner starts over: the next save replaces what could not be read until now.
  void replaceUnread();
  /// The same, and removes what was kept aside; what is damaged is not kept.
  void forgetUnreadable();

  /// Beside a file: where its saves go while it cannot be read.
  static std::string laterPath(const std::string& path) { return path + ".later"; }

 private:
  enum class Contents { absent, present, damaged, unread };
  struct Part {
    Contents contents = Contents::unread;
    std::string problem;  ///< of one that is damaged or unread
  };
  using IsWanted = bool (*)(const Coding& root);
  using Reports = std::vector<std::string>;

  void load(std::span<const ArchivedClass> classes, IsWanted isWanted, Adopt adopt);
  void readLocked() ZN_REQUIRES(mutex_);
  void noteStateLocked(Reports& reports) ZN_REQUIRES(mutex_);
  void readPartLocked(Part& part, const std::string& path) ZN_REQUIRES(mutex_);
  bool keepAsideLocked(Part& part, const std::string& path, Reports& reports, std::string& error) ZN_REQUIRES(mutex_);
  bool saveLocked(const std::function<std::shared_ptr<const Coding>()>& newest, std::string& error, const Steps& steps,
                  Reports& reports) ZN_REQUIRES(mutex_);
  void replaceLocked(Contents contents) ZN_REQUIRES(mutex_);

  const std::function<std::string()> path_;
  const std::size_t maximumSize_;
  Mutex mutex_;
  std::span<const ArchivedClass> classes_ ZN_GUARDED_BY(mutex_);
  IsWanted isWanted_ ZN_GUARDED_BY(mutex_) = nullptr;
  Adopt adopt_ ZN_GUARDED_BY(mutex_);
  Part file_ ZN_GUARDED_BY(mutex_);
  Part later_ ZN_GUARDED_BY(mutex_);
  std::shared_ptr<EncodedRecords> encoded_ ZN_GUARDED_BY(mutex_);  // what was read or saved last, for the next save
  std::string failure_ ZN_GUARDED_BY(mutex_);                      // of the last save; empty if it went well
};

}  // namespace zn
