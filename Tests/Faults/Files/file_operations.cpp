// Stands between a program and the C library's file operations below one folder: lets chosen ones fail, and writes down
// all of them. Loaded before the C library, by LD_PRELOAD or by linking it. The environment says what to do:
//
//     ZN_FILES_HOME=FOLDER       the folder; without it every operation passes
//     ZN_FILES_FAULT=K:E:once    the K-th operation fails with error number E (0: a write writes half)
//     ZN_FILES_FAULT=K:E:on      and all after it that can fail in that way
//     ZN_FILES_TRACE=FILE        a line an operation that is to come, and one for each change that was made
//
// Counted are the operations that can fail with what a machine does to files, of those that our libraries call (what
// `nm -D --undefined-only` shows of them). Not for programs with threads that use files at the same time: the count
// then depends on their order.

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <string>

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

/// What can go wrong with an operation; 0 is a short write. Without memory of its own: some come before there is any.
using Errors = std::initializer_list<int>;
constexpr Errors kOpen{EIO, EMFILE, EACCES, EINTR};
constexpr Errors kOpenToWrite{EIO, EMFILE, EACCES, EINTR, EROFS};
constexpr Errors kCreate{EIO, EMFILE, EACCES, EINTR, EROFS, ENOSPC};
constexpr Errors kNoChange{EIO, ENOSPC, EACCES, EROFS};

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

/// Counts an operation; true where it is to fail, with `errno` set.
bool fails(const Errors& errors, const char* kind, const std::string& path) {
  const long number = ++files->count;
  std::string line = "operation\t" + std::to_string(number) + "\t" + kind + "\t" + path;
  for (const int each : errors) line.append("\t").append(std::to_string(each));
  trace(line);
  if (files->failAt == 0 || number < files->failAt || (number > files->failAt && !files->fromThenOn)) return false;
  if (std::find(errors.begin(), errors.end(), files->error) == errors.end()) return false;
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

int opened(int folder, const char* path, int flags, mode_t mode) {
  const std::string name = inside(folder, path);
  if (name.empty()) return REAL(openat)(folder, path, flags, mode);
  const bool writes = (flags & O_ACCMODE) != O_RDONLY;
  if (fails(flags & O_CREAT ? kCreate : writes ? kOpenToWrite : kOpen, "open", name)) return -1;
  const bool existed = syscall(SYS_faccessat, folder, path, F_OK) == 0;
  const int file = REAL(openat)(folder, path, flags, mode);
  if (file < 0 || file >= kMostDescriptors) return file;
  files->paths[file] = name;
  if (!existed) trace("create\t" + name);
  if (existed && flags & O_TRUNC) trace("truncate\t" + name + "\t0");
  return file;
}

/// An operation on what is there under that path. Where it is done, `change` is for the trace, after its kind.
template <class Call>
auto attempted(const Errors& errors, const char* kind, const std::string& path, const std::string& change,
               const Call& call) -> decltype(call()) {
  if (path.empty()) return call();
  if (fails(errors, kind, path)) return -1;
  const auto result = call();
  if (result == 0 && !change.empty()) trace(std::string(kind) + "\t" + change);
  return result;
}

template <class Call>
ssize_t written(int file, const void* bytes, std::size_t size, off_t offset, const Call& call) {
  if (inside(file).empty()) return call(size);
  std::size_t part = size;
  if (fails({EIO, ENOSPC, EINTR, 0}, "write", inside(file))) {
    if (files->error != 0) return -1;
    part = size > 1 ? size / 2 : size;
  }
  const ssize_t result = call(part);
  if (result > 0) {
    trace("write\t" + inside(file) + "\t" + std::to_string(offset) + "\t" +
          hex(bytes, static_cast<std::size_t>(result)));
  }
  return result;
}

}  // namespace

extern "C" {

/// For the program: what belongs into the trace at this moment.
void zn_files_note(const char* text) { trace(std::string("note\t") + text); }

int openat(int folder, const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const auto mode = static_cast<mode_t>(va_arg(more, unsigned));
  va_end(more);
  return opened(folder, path, flags, mode);
}
int open(const char* path, int flags, ...) {
  va_list more;
  va_start(more, flags);
  const auto mode = static_cast<mode_t>(va_arg(more, unsigned));
  va_end(more);
  return opened(AT_FDCWD, path, flags, mode);
}
int close(int file) {
  if (inside(file).empty()) return REAL(close)(file);
  const bool failing = fails({EIO}, "close", inside(file));
  files->paths[file].clear();
  const int result = REAL(close)(file);
  if (!failing) return result;
  errno = EIO;
  return -1;
}

ssize_t read(int file, void* bytes, size_t size) {
  return attempted({EIO, EINTR}, "read", inside(file), "", [&] { return REAL(read)(file, bytes, size); });
}
ssize_t pread(int file, void* bytes, size_t size, off_t offset) {
  return attempted({EIO, EINTR}, "read", inside(file), "", [&] { return REAL(pread)(file, bytes, size, offset); });
}
ssize_t write(int file, const void* bytes, size_t size) {
  off_t offset = 0;
  if (!inside(file).empty()) {
    const bool appends = fcntl(file, F_GETFL) & O_APPEND;
    offset = lseek(file, 0, appends ? SEEK_END : SEEK_CUR);
  }
  return written(file, bytes, size, offset, [&](size_t part) { return REAL(write)(file, bytes, part); });
}
ssize_t pwrite(int file, const void* bytes, size_t size, off_t offset) {
  return written(file, bytes, size, offset, [&](size_t part) { return REAL(pwrite)(file, bytes, part, offset); });
}
int ftruncate(int file, off_t size) noexcept {
  return attempted({EIO, EINTR}, "truncate", inside(file), inside(file) + "\t" + std::to_string(size),
                   [&] { return REAL(ftruncate)(file, size); });
}
int fsync(int file) {
  return attempted({EIO, ENOSPC, EINTR}, "sync", inside(file), inside(file), [&] { return REAL(fsync)(file); });
}
int fdatasync(int file) {
  return attempted({EIO, ENOSPC, EINTR}, "sync", inside(file), inside(file), [&] { return REAL(fdatasync)(file); });
}
int flock(int file, int operation) noexcept {
  if (operation & LOCK_UN) return REAL(flock)(file, operation);
  return attempted({EIO, EINTR}, "lock", inside(file), "", [&] { return REAL(flock)(file, operation); });
}

int stat(const char* path, struct stat* status) noexcept {
  return attempted({EIO, EACCES}, "stat", inside(AT_FDCWD, path), "", [&] { return REAL(stat)(path, status); });
}
int lstat(const char* path, struct stat* status) noexcept {
  return attempted({EIO, EACCES}, "stat", inside(AT_FDCWD, path), "", [&] { return REAL(lstat)(path, status); });
}
int fstat(int file, struct stat* status) noexcept {
  return attempted({EIO}, "stat", inside(file), "", [&] { return REAL(fstat)(file, status); });
}
int fstatat(int folder, const char* path, struct stat* status, int flags) noexcept {
  return attempted({EIO, EACCES}, "stat", inside(folder, path), "",
                   [&] { return REAL(fstatat)(folder, path, status, flags); });
}

dirent* readdir(DIR* folder) {
  const std::string path = inside(dirfd(folder));
  return !path.empty() && fails({EIO}, "list", path) ? nullptr : REAL(readdir)(folder);
}
int closedir(DIR* folder) {
  const int file = dirfd(folder);
  if (!inside(file).empty()) files->paths[file].clear();
  return REAL(closedir)(folder);
}

int mkdir(const char* path, mode_t mode) noexcept {
  return attempted(kNoChange, "mkdir", inside(AT_FDCWD, path), "", [&] { return REAL(mkdir)(path, mode); });
}
int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  const std::string name = inside(fromFolder, from);
  return attempted(kNoChange, "rename", name, name + "\t" + inside(toFolder, to),
                   [&] { return REAL(renameat)(fromFolder, from, toFolder, to); });
}
int rename(const char* from, const char* to) noexcept { return renameat(AT_FDCWD, from, AT_FDCWD, to); }
int link(const char* from, const char* to) noexcept {
  const std::string name = inside(AT_FDCWD, from);
  return attempted(kNoChange, "link", name, name + "\t" + inside(AT_FDCWD, to), [&] { return REAL(link)(from, to); });
}
int unlinkat(int folder, const char* path, int flags) noexcept {
  const std::string name = inside(folder, path);
  return attempted(kNoChange, "unlink", name, name, [&] { return REAL(unlinkat)(folder, path, flags); });
}
int unlink(const char* path) noexcept { return unlinkat(AT_FDCWD, path, 0); }
int remove(const char* path) noexcept {
  const std::string name = inside(AT_FDCWD, path);
  return attempted(kNoChange, "unlink", name, name, [&] { return REAL(remove)(path); });
}

}  // extern "C"
