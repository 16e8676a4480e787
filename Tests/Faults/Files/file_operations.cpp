// Stands between a program and the C library's file operations below one folder: lets chosen ones fail, and writes down
// all of them. Loaded before the C library, by LD_PRELOAD or by linking it. The environment says what to do:
//
//     ZN_FILES_HOME=FOLDER       the folder; without it every operation passes
//     ZN_FILES_FAULT=K:E:once    the K-th operation fails with error number E (0: a write writes half)
//     ZN_FILES_FAULT=K:E:on      and all after it that can fail in that way
//     ZN_FILES_TRACE=FILE        a line an operation; see `Trace.h`
//
// Counted are the operations that can fail with what a machine does to files. Not for programs with threads that use
// files at the same time: the count then depends on their order.

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

namespace {

constexpr int kMostDescriptors = 1024;

struct Files {
  std::string home;
  long failAt = 0;
  int error = 0;
  bool fromThenOn = false;
  int trace = -1;
  long count = 0;
  std::string paths[kMostDescriptors];  // below the home, of open files; empty: another file
};

Files* files = nullptr;

template <class Function>
Function* real(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
#define REAL(name) (*real(&name, #name))

__attribute__((constructor)) void begin() {
  const char* const home = std::getenv("ZN_FILES_HOME");
  if (!home) return;
  auto* const made = new Files;
  made->home = std::string(home) + "/";
  if (const char* const fault = std::getenv("ZN_FILES_FAULT")) {
    char mode[8] = "";
    if (std::sscanf(fault, "%ld:%d:%7s", &made->failAt, &made->error, mode) != 3) std::abort();
    made->fromThenOn = std::strcmp(mode, "on") == 0;
  }
  if (const char* const trace = std::getenv("ZN_FILES_TRACE")) {
    made->trace = REAL(open)(trace, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  }
  files = made;
}

// What can go wrong with an operation.
enum Ways : unsigned { kEio = 1, kEnospc = 2, kEmfile = 4, kEacces = 8, kErofs = 16, kEintr = 32, kShort = 64 };
constexpr unsigned kChange = kEio | kEnospc | kEacces | kErofs;

unsigned wayOf(int error) {
  constexpr std::pair<int, unsigned> kWays[] = {{EIO, kEio},       {ENOSPC, kEnospc}, {EMFILE, kEmfile},
                                                {EACCES, kEacces}, {EROFS, kErofs},   {EINTR, kEintr}};
  for (const auto& [number, way] : kWays) {
    if (number == error) return way;
  }
  return kShort;
}

/// The path below the home, or "" for a path elsewhere.
std::string inside(int folder, const char* path) {
  if (!files || !path) return "";
  std::string whole = path;
  if (path[0] != '/') {
    if (folder < 0 || folder >= kMostDescriptors || files->paths[folder].empty()) return "";
    whole = files->home + files->paths[folder] + "/" + path;
  }
  if (whole + "/" == files->home) return ".";
  return whole.starts_with(files->home) ? whole.substr(files->home.size()) : "";
}

std::string inside(int file) {
  return files && file >= 0 && file < kMostDescriptors ? files->paths[file] : std::string();
}

void trace(const std::string& line) {
  if (!files || files->trace < 0) return;
  const int kept = errno;
  const std::string whole = line + "\n";
  if (REAL(write)(files->trace, whole.data(), whole.size()) < 0) std::abort();
  errno = kept;
}

/// Counts an operation; true where it is to fail, in that way, with `errno` set.
bool fails(unsigned ways, const char* kind, const std::string& path) {
  const long number = ++files->count;
  trace("operation\t" + std::to_string(number) + "\t" + kind + "\t" + std::to_string(ways) + "\t" + path);
  if (files->failAt == 0 || number < files->failAt || (number > files->failAt && !files->fromThenOn)) return false;
  if (!(ways & wayOf(files->error))) return false;
  errno = files->error;
  return true;
}

std::string hex(const void* bytes, std::size_t size) {
  std::string text;
  for (std::size_t i = 0; i < size; ++i) {
    const unsigned byte = static_cast<const unsigned char*>(bytes)[i];
    text += "0123456789abcdef"[byte >> 4];
    text += "0123456789abcdef"[byte & 15];
  }
  return text;
}

bool exists(int folder, const char* path) { return syscall(SYS_faccessat, folder, path, F_OK) == 0; }

int opened(int folder, const char* path, int flags, mode_t mode) {
  const std::string name = inside(folder, path);
  if (name.empty()) return REAL(openat)(folder, path, flags, mode);
  const bool writes = (flags & O_ACCMODE) != O_RDONLY;
  const unsigned ways =
      kEio | kEmfile | kEacces | kEintr | (writes ? unsigned{kErofs} : 0) | (flags & O_CREAT ? unsigned{kEnospc} : 0);
  if (fails(ways, "open", name)) return -1;
  const bool existed = exists(folder, path);
  const int file = REAL(openat)(folder, path, flags, mode);
  if (file < 0 || file >= kMostDescriptors) return file;
  files->paths[file] = name;
  const char* const kind = !existed ? "create" : flags & O_TRUNC ? "empty" : "open";
  trace(std::string(kind) + "\t" + std::to_string(file) + "\t" + name);
  return file;
}

template <class Call>
auto changed(unsigned ways, const char* kind, const std::string& path, const std::string& other, const Call& call)
    -> decltype(call()) {
  if (path.empty()) return call();
  if (fails(ways, kind, path)) return -1;
  const auto result = call();
  if (result == 0) trace(std::string(kind) + "\t" + path + (other.empty() ? "" : "\t" + other));
  return result;
}

template <class Call>
auto looked(unsigned ways, const char* kind, const std::string& path, const Call& call) -> decltype(call()) {
  if (!path.empty() && fails(ways, kind, path)) return -1;
  return call();
}

template <class Call>
ssize_t written(int file, const void* bytes, std::size_t size, off_t offset, const Call& call) {
  if (inside(file).empty()) return call(size);
  std::size_t part = size;
  if (fails(kEio | kEnospc | kEintr | kShort, "write", inside(file))) {
    if (files->error != 0) return -1;
    part = size > 1 ? size / 2 : size;
  }
  const ssize_t result = call(part);
  if (result > 0) {
    trace("write\t" + std::to_string(file) + "\t" + std::to_string(offset) + "\t" +
          hex(bytes, static_cast<std::size_t>(result)));
  }
  return result;
}

}  // namespace

extern "C" {

/// For the program: what belongs into the trace at this moment.
void zn_files_note(const char* text) { trace(std::string("note\t") + text); }

#define OPEN(name)                                                 \
  int name(const char* path, int flags, ...) {                     \
    va_list more;                                                  \
    va_start(more, flags);                                         \
    const auto mode = static_cast<mode_t>(va_arg(more, unsigned)); \
    va_end(more);                                                  \
    return opened(AT_FDCWD, path, flags, mode);                    \
  }
OPEN(open)
OPEN(open64)
#define OPENAT(name)                                               \
  int name(int folder, const char* path, int flags, ...) {         \
    va_list more;                                                  \
    va_start(more, flags);                                         \
    const auto mode = static_cast<mode_t>(va_arg(more, unsigned)); \
    va_end(more);                                                  \
    return opened(folder, path, flags, mode);                      \
  }
OPENAT(openat)
OPENAT(openat64)

int close(int file) {
  if (inside(file).empty()) return REAL(close)(file);
  const bool failing = fails(kEio, "close", inside(file));
  files->paths[file].clear();
  trace("close\t" + std::to_string(file));
  const int result = REAL(close)(file);
  if (!failing) return result;
  errno = EIO;
  return -1;
}

ssize_t read(int file, void* bytes, size_t size) {
  return looked(kEio | kEintr, "read", inside(file), [&] { return REAL(read)(file, bytes, size); });
}
#define PREAD(name)                                                                                            \
  ssize_t name(int file, void* bytes, size_t size, off_t offset) {                                             \
    return looked(kEio | kEintr, "read", inside(file), [&] { return REAL(name)(file, bytes, size, offset); }); \
  }
PREAD(pread)
PREAD(pread64)

ssize_t write(int file, const void* bytes, size_t size) {
  off_t offset = 0;
  if (!inside(file).empty()) {
    const bool appends = fcntl(file, F_GETFL) & O_APPEND;
    offset = lseek(file, 0, appends ? SEEK_END : SEEK_CUR);
  }
  return written(file, bytes, size, offset, [&](size_t part) { return REAL(write)(file, bytes, part); });
}
#define PWRITE(name)                                                                                               \
  ssize_t name(int file, const void* bytes, size_t size, off_t offset) {                                           \
    return written(file, bytes, size, offset, [&](size_t part) { return REAL(name)(file, bytes, part, offset); }); \
  }
PWRITE(pwrite)
PWRITE(pwrite64)

#define TRUNCATE(name)                                                                         \
  int name(int file, off_t size) noexcept {                                                    \
    if (inside(file).empty()) return REAL(name)(file, size);                                   \
    if (fails(kEio | kEintr, "truncate", inside(file))) return -1;                             \
    const int result = REAL(name)(file, size);                                                 \
    if (result == 0) trace("truncate\t" + std::to_string(file) + "\t" + std::to_string(size)); \
    return result;                                                                             \
  }
TRUNCATE(ftruncate)
TRUNCATE(ftruncate64)

#define SYNC(name)                                                       \
  int name(int file) {                                                   \
    if (inside(file).empty()) return REAL(name)(file);                   \
    if (fails(kEio | kEnospc | kEintr, "sync", inside(file))) return -1; \
    const int result = REAL(name)(file);                                 \
    if (result == 0) trace("sync\t" + std::to_string(file));             \
    return result;                                                       \
  }
SYNC(fsync)
SYNC(fdatasync)

int flock(int file, int operation) noexcept {
  if (operation & LOCK_UN) return REAL(flock)(file, operation);
  return looked(kEio | kEintr, "lock", inside(file), [&] { return REAL(flock)(file, operation); });
}

#define STAT(name, type)                                                                                     \
  int name(const char* path, struct type* status) noexcept {                                                 \
    return looked(kEio | kEacces, "stat", inside(AT_FDCWD, path), [&] { return REAL(name)(path, status); }); \
  }
STAT(stat, stat)
STAT(stat64, stat64)
STAT(lstat, stat)
STAT(lstat64, stat64)
#define FSTAT(name, type)                                                                \
  int name(int file, struct type* status) noexcept {                                     \
    return looked(kEio, "stat", inside(file), [&] { return REAL(name)(file, status); }); \
  }
FSTAT(fstat, stat)
FSTAT(fstat64, stat64)
#define FSTATAT(name, type)                                                         \
  int name(int folder, const char* path, struct type* status, int flags) noexcept { \
    return looked(kEio | kEacces, "stat", inside(folder, path),                     \
                  [&] { return REAL(name)(folder, path, status, flags); });         \
  }
FSTATAT(fstatat, stat)
FSTATAT(fstatat64, stat64)

DIR* opendir(const char* path) {
  const std::string name = inside(AT_FDCWD, path);
  if (!name.empty() && fails(kEio | kEmfile | kEacces, "list", name)) return nullptr;
  return REAL(opendir)(path);
}
#define READDIR(name, type)                                         \
  struct type* name(DIR* folder) {                                  \
    const std::string path = inside(dirfd(folder));                 \
    if (!path.empty() && fails(kEio, "list", path)) return nullptr; \
    return REAL(name)(folder);                                      \
  }
READDIR(readdir, dirent)
READDIR(readdir64, dirent64)
int closedir(DIR* folder) {
  const int file = dirfd(folder);
  if (!inside(file).empty()) {
    files->paths[file].clear();
    trace("close\t" + std::to_string(file));
  }
  return REAL(closedir)(folder);
}

int mkdir(const char* path, mode_t mode) noexcept {
  return changed(kChange, "mkdir", inside(AT_FDCWD, path), "", [&] { return REAL(mkdir)(path, mode); });
}
int rename(const char* from, const char* to) noexcept {
  return changed(kChange, "rename", inside(AT_FDCWD, from), inside(AT_FDCWD, to),
                 [&] { return REAL(rename)(from, to); });
}
int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  return changed(kChange, "rename", inside(fromFolder, from), inside(toFolder, to),
                 [&] { return REAL(renameat)(fromFolder, from, toFolder, to); });
}
int link(const char* from, const char* to) noexcept {
  return changed(kChange, "link", inside(AT_FDCWD, from), inside(AT_FDCWD, to), [&] { return REAL(link)(from, to); });
}
int unlink(const char* path) noexcept {
  return changed(kChange, "unlink", inside(AT_FDCWD, path), "", [&] { return REAL(unlink)(path); });
}
int unlinkat(int folder, const char* path, int flags) noexcept {
  return changed(kChange, "unlink", inside(folder, path), "", [&] { return REAL(unlinkat)(folder, path, flags); });
}
int remove(const char* path) noexcept {
  return changed(kChange, "unlink", inside(AT_FDCWD, path), "", [&] { return REAL(remove)(path); });
}
int rmdir(const char* path) noexcept {
  return changed(kChange, "rmdir", inside(AT_FDCWD, path), "", [&] { return REAL(rmdir)(path); });
}

}  // extern "C"
