#include "ZNPlatform/Foundation/File.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <filesystem>
#include <memory>
#include <new>
#include <system_error>
#include <vector>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Descriptor_p.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zn {

namespace {

/// "cannot write /path: No space left on device". Always false, so that callers can return it.
bool fail(std::string* error, const char* action, const std::string& path, int code) {
  if (error) *error = std::string("cannot ") + action + " " + path + ": " + std::generic_category().message(code);
  return false;
}

constexpr const char* kAside = ".unreadable";

/// The name of the file that this is a second name of, or nothing.
std::optional<std::string> originalOfAside(const std::string& name) {
  const auto place = name.rfind(kAside);
  if (place == std::string::npos) return std::nullopt;
  std::string_view number = std::string_view(name).substr(place + std::string_view(kAside).size());
  const bool isNumbered =
      number.size() > 1 && number.front() == '-' && number.find_first_not_of("0123456789", 1) == std::string_view::npos;
  if (!number.empty() && !isNumbered) return std::nullopt;
  return name.substr(0, place);
}

struct SplitPath {
  std::string folder;
  std::string name;
};

SplitPath split(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return {".", path};
  return {slash == 0 ? "/" : path.substr(0, slash), path.substr(slash + 1)};
}

bool writeAll(int descriptor, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(written));
  }
  return true;
}

/// For what is synced next: the disk begins with a large file while the rest of it is still being copied.
bool writeAhead(int descriptor, std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kPiece = 1 << 18;
  for (std::size_t offset = 0; bytes.size() > kPiece; offset += kPiece) {
    if (!writeAll(descriptor, bytes.first(kPiece))) return false;
    ::sync_file_range(descriptor, static_cast<off_t>(offset), kPiece, SYNC_FILE_RANGE_WRITE);  // a hint: may fail
    bytes = bytes.subspan(kPiece);
  }
  return writeAll(descriptor, bytes);
}

/// Writes a new file to the disk. 0, or the error's number; then the file is gone again.
int writeNewFile(int folder, const std::string& name, std::span<const std::uint8_t> bytes) {
  Descriptor file = openFile(name.c_str(), O_WRONLY | O_CREAT | O_EXCL, folder);
  if (!file) return errno;
  if (writeAhead(file.get(), bytes) && ::fdatasync(file.get()) == 0 && file.close()) return 0;
  const int code = errno;
  ::unlinkat(folder, name.c_str(), 0);
  return code;
}

/// From an open file's present place on. 0, or the error's number.
int readAll(int descriptor, std::size_t likelySize, std::size_t maximumSize, Data& bytes) {
  try {
    bytes.resize(likelySize + 1);  // so that the end shows in the same read
    std::size_t used = 0;
    for (;;) {
      if (used > maximumSize) return EFBIG;
      if (used == bytes.size()) bytes.resize(bytes.size() * 2);
      const ssize_t got = ::read(descriptor, bytes.data() + used, bytes.size() - used);
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return errno;
      if (got == 0) break;
      used += static_cast<std::size_t>(got);
    }
    bytes.resize(used);
    return 0;
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  } catch (const std::length_error&) {
    return EFBIG;
  }
}

/// The temporary file's name ends with its writer's process number; without the process nobody will finish it.
bool isAbandoned(std::string_view fileName, const std::string& prefix) {
  if (!fileName.starts_with(prefix)) return false;
  fileName.remove_prefix(prefix.size());
  pid_t writer = 0;
  const auto [end, failure] = std::from_chars(fileName.data(), fileName.data() + fileName.size(), writer);
  if (failure != std::errc{} || end != fileName.data() + fileName.size() || writer <= 0) return false;
  return ::kill(writer, 0) != 0 && errno == ESRCH;
}

void removeAbandonedFiles(int folder, const std::string& prefix) {
  Descriptor listing = openFile(".", O_RDONLY | O_DIRECTORY, folder);
  if (!listing) return;
  struct Close {
    void operator()(DIR* folderEntries) const { ::closedir(folderEntries); }
  };
  const std::unique_ptr<DIR, Close> entries(::fdopendir(listing.get()));
  if (!entries) return;
  listing.release();  // closedir closes it
  while (const dirent* entry = ::readdir(entries.get())) {
    if (isAbandoned(entry->d_name, prefix)) ::unlinkat(folder, entry->d_name, 0);
  }
}

/// Some file systems cannot sync a folder; they say so with these.
bool syncFolder(int folder) { return ::fsync(folder) == 0 || errno == EINVAL || errno == ENOTSUP; }

/// For what nobody reads under its own name.
std::string moveAside(const std::string& path, const std::string& aside, bool& taken, std::string* error) {
  if (::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, aside.c_str(), RENAME_NOREPLACE) == 0) return aside;
  taken = errno == EEXIST;
  if (!taken) fail(error, "keep aside", path, errno);
  return {};
}

/// The file cannot get a second name here: gives it a copy.
std::string copyAside(const std::string& path, const std::string& aside, bool& taken, std::string* error) {
  const StateFile file = readStateFile(path, kMaximumMessageFile);
  if (file.outcome == StateFile::Outcome::refused) return moveAside(path, aside, taken, error);
  if (file.outcome != StateFile::Outcome::read) {
    if (error) *error = file.error;
    return {};
  }
  const int code = writeNewFile(AT_FDCWD, aside, file.bytes);
  if (code == 0) return aside;
  if (code == EEXIST) {
    // A copy is a file of its own; only its contents tell that it is this file's.
    const StateFile there = readStateFile(aside, kMaximumMessageFile);
    taken = there.outcome != StateFile::Outcome::read || there.bytes != file.bytes;
    return taken ? std::string() : aside;
  }
  fail(error, "write", aside, code);
  return {};
}

}  // namespace

std::optional<Data> readFile(const std::string& path, std::string* error) {
  if (error) error->clear();
  const auto failed = [&](int code) {
    fail(error, "read", path, code);
    return std::nullopt;
  };
  const Descriptor file = openFile(path.c_str(), O_RDONLY);
  if (!file) {
    if (errno == ENOENT) return std::nullopt;
    return failed(errno);
  }
  struct stat status {};
  if (::fstat(file.get(), &status) != 0) return failed(errno);
  Data bytes;
  const std::size_t size = status.st_size > 0 ? static_cast<std::size_t>(status.st_size) : 4095;
  if (const int code = readAll(file.get(), size, SIZE_MAX, bytes)) return failed(code);
  return bytes;
}

StateFile readStateFile(const std::string& path, std::size_t maximumSize) {
  const Descriptor file = openFile(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
  const int code = errno;
  if (file) return readStateFile(file.get(), path, maximumSize);
  if (code == ENOENT) return {StateFile::Outcome::absent};
  StateFile result;
  fail(&result.error, "read", path, code);
  if (code == ENXIO) result.outcome = StateFile::Outcome::refused;  // a socket, or a device that nothing stands behind
  return result;
}

StateFile readStateFile(int descriptor, const std::string& path, std::size_t maximumSize) {
  StateFile result;
  const auto refused = [&](const std::string& reason) {
    return StateFile{StateFile::Outcome::refused, {}, "cannot read " + path + ": " + reason};
  };
  const auto unread = [&](int code) {
    fail(&result.error, "read", path, code);
    return result;
  };
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return unread(errno);
  if (S_ISDIR(status.st_mode)) return unread(EISDIR);
  const std::string tooLarge = "it is larger than " + std::to_string(maximumSize >> 20) + " MB";
  if (!S_ISREG(status.st_mode)) return refused("it is no regular file");
  if (static_cast<std::uintmax_t>(status.st_size) > maximumSize) return refused(tooLarge);
  const int code = readAll(descriptor, static_cast<std::size_t>(status.st_size), maximumSize, result.bytes);
  if (code == EFBIG) return refused(tooLarge);  // it grew meanwhile
  if (code != 0) return unread(code);
  result.outcome = StateFile::Outcome::read;
  return result;
}

bool fitsStateFile(const std::string& path, std::size_t size, std::size_t maximumSize, std::string* error) {
  if (size <= maximumSize) return true;
  if (error) *error = "cannot write " + path + ": it would be larger than " + std::to_string(maximumSize >> 20) + " MB";
  return false;
}

bool replaceFile(const std::string& path, std::span<const std::uint8_t> bytes, std::string* error) {
  const SplitPath target = split(path);
  if (target.name.empty()) return fail(error, "write", path, EISDIR);
  const Descriptor folder = openFile(target.folder.c_str(), O_RDONLY | O_DIRECTORY);
  if (!folder) return fail(error, "write", path, errno);

  const std::string prefix = "." + target.name + ".tmp-";
  removeAbandonedFiles(folder.get(), prefix);
  const std::string temporary = prefix + std::to_string(::getpid());
  int code = writeNewFile(folder.get(), temporary, bytes);
  if (code == EEXIST) {  // left by an earlier process that had our number
    ::unlinkat(folder.get(), temporary.c_str(), 0);
    code = writeNewFile(folder.get(), temporary, bytes);
  }
  if (code != 0) return fail(error, "write", path, code);
  if (::renameat(folder.get(), temporary.c_str(), folder.get(), target.name.c_str()) != 0) {
    code = errno;
    ::unlinkat(folder.get(), temporary.c_str(), 0);
    return fail(error, "write", path, code);
  }
  return syncFolder(folder.get()) || fail(error, "sync the folder of", path, errno);
}

std::string keepAside(const std::string& path, std::string* error) {
  constexpr int kMostAsideFiles = 1000;
  const auto failed = [&](int code) {
    fail(error, "keep aside", path, code);
    return std::string();
  };
  struct stat original {};
  if (::lstat(path.c_str(), &original) != 0) return failed(errno);
  for (int number = 1; number <= kMostAsideFiles; ++number) {
    const std::string aside = path + kAside + (number == 1 ? "" : "-" + std::to_string(number));
    if (::link(path.c_str(), aside.c_str()) == 0) return aside;
    if (errno == EEXIST) {
      struct stat there {};
      if (::lstat(aside.c_str(), &there) == 0 && there.st_dev == original.st_dev && there.st_ino == original.st_ino) {
        return aside;
      }
      continue;
    }
    if (errno != EPERM && errno != ENOTSUP && errno != ENOSYS && errno != EMLINK && errno != EACCES)
      return failed(errno);
    bool taken = false;
    const std::string copy = copyAside(path, aside, taken, error);
    if (!taken) return copy;
  }
  return failed(EEXIST);
}

void removeKeptAside(const std::string& path) {
  std::error_code failure;
  const bool isFolder = std::filesystem::is_directory(path, failure);
  const auto [folder, name] = isFolder ? SplitPath{path, ""} : split(path);
  std::vector<std::string> aside;
  for (std::filesystem::directory_iterator each(folder, failure), end; each != end; each.increment(failure)) {
    const std::string found = each->path().filename();
    const auto original = originalOfAside(found);
    if (original && (isFolder || *original == name)) aside.push_back(each->path());
  }
  for (const std::string& each : aside) {
    if (std::filesystem::remove(each, failure) || !failure) continue;
    Device::current().systemLog->diagnostic("cannot remove " + each + ": " + failure.message());
  }
}

bool fileExistsAtPath(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0;
}

bool createDirectoryAtPath(const std::string& path, bool intermediate, std::string* error) {
  const auto isDirectory = [&] {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
  };
  for (bool retried = false;; retried = true) {
    if (::mkdir(path.c_str(), 0700) == 0) return true;
    const int code = errno;
    if (code == EEXIST) return isDirectory() || fail(error, "make folder", path, ENOTDIR);
    if (code != ENOENT || !intermediate || retried) return fail(error, "make folder", path, code);
    const std::string parent = split(path.ends_with('/') ? path.substr(0, path.size() - 1) : path).folder;
    if (path.empty() || parent == path) return fail(error, "make folder", path, code);
    if (!createDirectoryAtPath(parent, true, error)) return false;
  }
}

bool syncDirectoryAtPath(const std::string& path, std::string* error) {
  const Descriptor folder = openFile(path.c_str(), O_RDONLY | O_DIRECTORY);
  if (!folder && errno == ENOENT) return true;
  return (folder && syncFolder(folder.get())) || fail(error, "sync", path, errno);
}

bool removeItemAtPath(const std::string& path, std::string* error) {
  std::error_code failure;
  if (std::filesystem::remove_all(path, failure) == 0 && !failure) return fail(error, "remove", path, ENOENT);
  return !failure || fail(error, "remove", path, failure.value());
}

std::string stringByAppendingPathComponent(const std::string& path, std::string_view component) {
  while (component.starts_with('/')) component.remove_prefix(1);
  std::string joined = path;
  if (!joined.empty() && !joined.ends_with('/')) joined += '/';
  return joined += component;
}

std::string absolutePath(const std::string& path) {
  std::error_code failure;
  std::string absolute = std::filesystem::absolute(path, failure).lexically_normal().string();
  if (failure) throw Exception(path + ": " + failure.message());
  while (absolute.size() > 1 && absolute.ends_with('/')) absolute.pop_back();
  return absolute;
}

}  // namespace zn
