#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// The whole file, or nothing: `error` is then empty where there is no such file, and else says what failed.
ZN_EXPORT std::optional<Data> readFile(const std::string& path, std::string* error = nullptr);

/// What a state file holds.
struct StateFile {
  enum class Outcome {
    read,
    absent,   ///< there is no such file
    unread,   ///< it cannot be read now: no descriptors, no permission, a folder, a failing disk
    refused,  ///< it can never be read: no regular file, or a larger one than the limit
  };
  Outcome outcome = Outcome::unread;
  Data bytes{};
  std::string error{};  ///< what failed; empty for the first two
};

/// Reads a state file of at most that many bytes. Never waits for another process, as reading a FIFO would, and looks
/// at the size first, so a file that is too large costs nothing.
ZN_EXPORT StateFile readStateFile(const std::string& path, std::size_t maximumSize);
/// The same of an open file; `path` is for the error.
ZN_EXPORT StateFile readStateFile(int descriptor, const std::string& path, std::size_t maximumSize);
/// What a save says that `readStateFile` would refuse: "cannot write PATH: it would be larger than 16 MB".
ZN_EXPORT bool fitsStateFile(const std::string& path, std::size_t size, std::size_t maximumSize, std::string* error);
/// Limits of the module's files.
inline constexpr std::size_t kMaximumStateFile = std::size_t{16} << 20;
/// Of those that hold messages: the inbox, and what is on its way into it, which user defaults may be.
inline constexpr std::size_t kMaximumMessageFile = std::size_t{64} << 20;

/// Replaces a file as one step: a process killed at any moment leaves the old contents or the new ones, never a
/// mixture. Writes a temporary file beside it (mode 0600), syncs its data, renames it over `path` and syncs the folder.
/// On failure the old file is untouched, the temporary one is gone, and the result is false with `error` filled. (One
/// exception: when only the sync of the folder fails, the new contents stand there, but may not outlive a power cut.)
/// Left-over temporary files of a killed process are removed by the next call for the same path. Blocks on the disk.
/// Calls for the same path from several threads of one process at once are the caller's to order.
ZN_EXPORT bool replaceFile(const std::string& path, std::span<const std::uint8_t> bytes, std::string* error = nullptr);

/// Gives an unreadable file a second name beside it, "NAME.unreadable" ("NAME.unreadable-2", … where that is taken), so
/// that replacing it loses nothing. The file keeps its own name too, unless it can neither have two nor be copied, as a
/// FIFO or a very large file on some file systems. Returns the new path, or "" with `error` filled.
ZN_EXPORT std::string keepAside(const std::string& path, std::string* error = nullptr);
/// Removes all such second names of a file, or of all files of a folder. What cannot be removed is reported to the
/// device's system log.
ZN_EXPORT void removeKeptAside(const std::string& path);

ZN_EXPORT bool fileExistsAtPath(const std::string& path);
/// Makes one folder (mode 0700); with `intermediate` also those above it. True when it is there afterwards.
ZN_EXPORT bool createDirectoryAtPath(const std::string& path, bool intermediate, std::string* error = nullptr);
/// Waits until the names in a folder are on the disk as they are now: without that a file that was removed may be back
/// after a power cut. True also where the file system cannot do it, and where there is no such folder.
ZN_EXPORT bool syncDirectoryAtPath(const std::string& path, std::string* error = nullptr);
ZN_EXPORT bool removeItemAtPath(const std::string& path, std::string* error = nullptr);
ZN_EXPORT std::string stringByAppendingPathComponent(const std::string& path, std::string_view component);
/// From the working directory if it is relative; without ".", ".." and a slash at its end. Throws Exception where there
/// is no working directory any more.
ZN_EXPORT std::string absolutePath(const std::string& path);

/// An advisory lock on a file (made when missing, mode 0600), held while the object lives; it excludes other processes
/// and other FileLock objects of this one.
class ZN_EXPORT FileLock {
 public:
  /// Waits for the lock.
  static std::optional<FileLock> wait(const std::string& path, std::string* error = nullptr);
  /// Waits for it at most that long; otherwise as `tryNow`.
  static std::optional<FileLock> wait(const std::string& path, std::chrono::milliseconds patience,
                                      std::string* error = nullptr);
  /// Takes the lock if it is free; otherwise nothing, with an empty `error` when another holder is the reason.
  static std::optional<FileLock> tryNow(const std::string& path, std::string* error = nullptr);

  FileLock(FileLock&& other) noexcept;
  FileLock& operator=(FileLock&& other) noexcept;
  ~FileLock();

 private:
  explicit FileLock(int descriptor) : descriptor_(descriptor) {}
  int descriptor_ = -1;
};

}  // namespace zn
