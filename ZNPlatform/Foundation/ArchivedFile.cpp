#include "ZNPlatform/Foundation/ArchivedFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Storage.h"

namespace zn {

ArchivedFile::ArchivedFile(std::function<std::string()> path, std::size_t maximumSize)
    : path_(std::move(path)), maximumSize_(maximumSize) {}

void ArchivedFile::load(std::span<const ArchivedClass> classes, IsWanted isWanted, Adopt adopt) {
  Reports reports;
  {
    Lock lock(mutex_);
    classes_ = classes;
    isWanted_ = isWanted;
    adopt_ = std::move(adopt);
    readLocked();
    noteStateLocked(reports);
    if (file_.contents != Contents::present && later_.contents != Contents::present) adopt_(nullptr);
  }
  Storage::report(reports);
}

/// The newest first: each goes below what is there already.
void ArchivedFile::readLocked() {
  const std::string path = path_();
  if (later_.contents == Contents::unread) readPartLocked(later_, laterPath(path));
  if (file_.contents == Contents::unread) readPartLocked(file_, path);
}

/// A save that failed counts more than what it could not read.
void ArchivedFile::noteStateLocked(Reports& reports) {
  const std::string path = path_();
  const bool isUnread = file_.contents == Contents::unread;
  if (!failure_.empty()) {
    if (Storage::failed(path, failure_)) reports.push_back(failure_ + "; changes stay in memory until it can be saved");
  } else if (isUnread || later_.contents == Contents::unread) {
    const std::string& problem = isUnread ? file_.problem : later_.problem;
    if (!Storage::failed(path, problem)) return;
    reports.push_back(problem + (isUnread ? "; until it can be read, changes are kept in " + laterPath(path)
                                          : "; what it holds comes in when it can be read"));
  } else {
    Storage::succeeded(path);
  }
}

void ArchivedFile::readPartLocked(Part& part, const std::string& path) {
  auto read = NSKeyedUnarchiver::unarchiveObjectWithFile(path, classes_, maximumSize_);
  part.problem = read.error;
  if (read.isUnread) return;
  if (read.root && !isWanted_(*read.root)) {
    read = {};
    read.damaged = true;
    part.problem = "it holds something else";
  }
  part.contents = read.damaged ? Contents::damaged : read.root ? Contents::present : Contents::absent;
  if (read.root) adopt_(read.root);
  if (read.root && !encoded_) encoded_ = std::move(read.encoded);
}

bool ArchivedFile::keepAsideLocked(Part& part, const std::string& path, Reports& reports, std::string& error) {
  if (part.contents != Contents::damaged) return true;
  struct stat status {};
  if (::lstat(path.c_str(), &status) == 0 || errno != ENOENT) {
    const std::string aside = keepAside(path, &error);
    if (aside.empty()) return false;
    reports.push_back("cannot use " + path + " (" + part.problem + "); it is kept as " + aside);
  }
  part.contents = Contents::present;  // what can be read of it was
  return true;
}

bool ArchivedFile::save(const std::function<std::shared_ptr<const Coding>()>& newest, std::string& error,
                        const Steps& steps) {
  Reports reports;
  bool saved = false;
  std::exception_ptr thrown;
  {
    Lock lock(mutex_);
    saved = stopExceptions(
        [&] {
          mutex_.assertHeld();
          readLocked();
          return saveLocked(newest, error, steps, reports);
        },
        [&] {
          thrown = std::current_exception();
          error = "cannot save " + path_() + ": " + currentExceptionText();
          return false;
        });
    failure_ = saved ? "" : error;
    noteStateLocked(reports);
  }
  Storage::report(reports);
  if (thrown) std::rethrow_exception(thrown);
  return saved;
}

bool ArchivedFile::saveLocked(const std::function<std::shared_ptr<const Coding>()>& newest, std::string& error,
                              const Steps& steps, Reports& reports) {
  const std::string path = path_();
  const std::string later = laterPath(path);
  const bool isLater = file_.contents == Contents::unread;
  if (isLater && later_.contents == Contents::unread) {
    error = later_.problem;
    return false;
  }
  if (!keepAsideLocked(later_, later, reports, error)) return false;
  if (!isLater && !keepAsideLocked(file_, path, reports, error)) return false;
  const std::string& target = isLater ? later : path;
  NSKeyedArchiver archiver(encoded_);
  const auto bytes = archiver.archiveRootObject(*newest());
  if (!fitsStateFile(target, bytes.size(), maximumSize_, &error)) return false;
  if (steps.willReplace && !steps.willReplace(bytes, error)) return false;
  if (!replaceFile(target, bytes, &error)) return false;
  (isLater ? later_ : file_).contents = Contents::present;
  if (!isLater && later_.contents == Contents::present) {
    if (::unlink(later.c_str()) != 0 && errno != ENOENT) {
      error = "cannot remove " + later + ": " + std::generic_category().message(errno);
      return false;
    }
    later_.contents = Contents::absent;
  }
  if (steps.didReplace) steps.didReplace();
  Storage::didReplace(target);
  return true;
}

bool ArchivedFile::retry() {
  Reports reports;
  bool isDue = false;
  {
    Lock lock(mutex_);
    readLocked();
    noteStateLocked(reports);
    isDue = !failure_.empty() || (file_.contents != Contents::unread && later_.contents == Contents::present);
  }
  Storage::report(reports);
  return isDue;
}

void ArchivedFile::replaceUnread() {
  Lock lock(mutex_);
  replaceLocked(Contents::unread);
}

void ArchivedFile::forgetUnreadable() {
  Lock lock(mutex_);
  replaceLocked(Contents::unread);
  replaceLocked(Contents::damaged);
  const std::string path = path_();
  removeKeptAside(path);
  removeKeptAside(laterPath(path));
}

void ArchivedFile::replaceLocked(Contents contents) {
  for (Part* const part : {&file_, &later_}) {
    if (part->contents == contents) part->contents = Contents::present;
  }
}

}  // namespace zn
