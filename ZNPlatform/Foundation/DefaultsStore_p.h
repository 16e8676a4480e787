#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZNPlatform/Foundation/AppendableFile_p.h"
#include "ZNPlatform/Foundation/Descriptor_p.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// Whether two values make the same property list: equal and, unlike with ==, of the same types all through.
bool isSameInPropertyList(const Value& a, const Value& b);

class DefaultsStore {
 public:
  /// The process's store of that name; lives for the process.
  static std::shared_ptr<DefaultsStore> named(const std::string& suite);

  /// What the file holds now, with what could not be written into it.
  Value contents() ZN_EXCLUDES(state_) { return look(false).merged; }
  bool hasUnwritten() const ZN_EXCLUDES(state_);
  struct Terms {
    bool orNothing = false;                                  ///< what cannot be written is not kept in memory either
    std::optional<std::chrono::milliseconds> patience = {};  ///< with other writers; none: as long as it takes
  };
  enum class Outcome { written, unwritten, busy };
  /// `error` is filled unless the outcome is `written`. Nothing is changed where other writers kept the store (`busy`).
  Outcome transaction(const std::function<void(Value&)>& change, const Terms& terms, std::string& error)
      ZN_EXCLUDES(saving_, state_);
  /// Appends to a list, all or nothing; the list, and what leads to it, is made where there is none. `patience` with
  /// other writers; none: as long as it takes.
  bool append(const ListPath& list, const Value& element, std::optional<std::chrono::milliseconds> patience,
              std::string& error) ZN_EXCLUDES(saving_, state_);

 private:
  /// Tells one state of a file from another without reading it. While the file is held open its inode cannot become
  /// another file's, so equal versions are equal contents, however fast files follow each other.
  struct FileVersion {
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    time_t modified = 0;
    long modifiedNanoseconds = 0;
    bool operator==(const FileVersion&) const = default;
  };
  struct Loaded {
    FileVersion version;
    Descriptor open;
    Value contents = Value::dictionary();
    std::string readError;   ///< the file could not be read now; it may hold anything
    std::string unreadable;  ///< why its contents are no store
  };
  /// One moment's view: a reader that is slower than a writer may bring back an older file for a moment, so a writer
  /// must not look twice.
  struct Snapshot {
    Value merged;
    Value onDisk;
    std::string readError;
    std::string unreadable;
  };
  struct Change {
    std::string key;
    Value value;  ///< nil: removed
  };
  using Reports = std::vector<std::string>;

  explicit DefaultsStore(const std::string& suite);
  /// Of an open file, with an empty path; or of the file of that path, with AT_FDCWD.
  static FileVersion versionOf(int file, const char* path);
  static std::vector<Change> changesBetween(const Value& from, const Value& to);
  Loaded load() const;
  Loaded loadBetweenAppends() const;
  Snapshot look(bool holdsFileLock) ZN_EXCLUDES(state_);
  Snapshot snapshotLocked() const ZN_REQUIRES(state_);
  using Deadline = std::optional<std::chrono::steady_clock::time_point>;
  bool lockSaving(Deadline deadline) ZN_THREAD_ANNOTATION(try_acquire_capability(true, saving_));
  /// How a change is written.
  struct Way {
    bool orNothing = false;
    const ListPath* appendable = nullptr;  ///< the list that the next append is likely for
  };
  Outcome change(const std::function<void(Value&)>& body, const Way& way, std::string& error, Reports& reports)
      ZN_REQUIRES(saving_) ZN_EXCLUDES(state_);
  bool appendLocked(const ListPath& list, const Value& element, std::string& error, Reports& reports)
      ZN_REQUIRES(saving_) ZN_EXCLUDES(state_);
  bool write(const Data& bytes, const std::string& unreadable, std::string& error, Reports& reports)
      ZN_REQUIRES(saving_);
  void adoptLocked(Loaded& fresh) ZN_REQUIRES(state_);
  void mergeLocked() ZN_REQUIRES(state_);

  const std::string path_;
  const std::string lockPath_;
  const AppendableFile file_;
  /// Orders this process's writers; held over reading and writing the file, which is what it is for.
  Mutex saving_;
  mutable Mutex state_;
  bool isLoaded_ ZN_GUARDED_BY(state_) = false;
  Loaded loaded_ ZN_GUARDED_BY(state_);
  std::vector<Change> unwritten_ ZN_GUARDED_BY(state_);
  Value merged_ ZN_GUARDED_BY(state_) = Value::dictionary();
  bool unsynced_ ZN_GUARDED_BY(saving_) = false;  // and reported
};

}  // namespace zn
