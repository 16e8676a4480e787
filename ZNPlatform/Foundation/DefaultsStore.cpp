#include "ZNPlatform/Foundation/DefaultsStore_p.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <optional>
#include <thread>
#include <utility>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Foundation/PropertyList.h"
#include "ZNPlatform/Foundation/Storage.h"

namespace zn {

namespace {

std::optional<FileLock> lockFile(const std::string& path, std::optional<std::chrono::steady_clock::time_point> deadline,
                                 std::string& error) {
  if (!deadline) return FileLock::wait(path, &error);
  const auto left = *deadline - std::chrono::steady_clock::now();
  return FileLock::wait(path, std::chrono::duration_cast<std::chrono::milliseconds>(left), &error);
}

std::optional<std::chrono::steady_clock::time_point> deadlineAfter(std::optional<std::chrono::milliseconds> patience) {
  return patience ? std::optional(std::chrono::steady_clock::now() + *patience) : std::nullopt;
}

}  // namespace

bool isSameInPropertyList(const Value& a, const Value& b) {
  if (a.type() != b.type()) return false;
  if (!a.isContainer()) return a == b;
  const auto isSameEntry = [](const Value::Entry& x, const Value::Entry& y) {
    return x.name() == y.name() && isSameInPropertyList(x.value, y.value);
  };
  return std::equal(a.elements().begin(), a.elements().end(), b.elements().begin(), b.elements().end(),
                    isSameInPropertyList) &&
         std::equal(a.entries().begin(), a.entries().end(), b.entries().begin(), b.entries().end(), isSameEntry);
}

std::shared_ptr<DefaultsStore> DefaultsStore::named(const std::string& suite) {
  static Mutex mutex;
  static NeverDestroyed<std::map<std::string, std::shared_ptr<DefaultsStore>>> bySuite;
  const std::shared_ptr<DefaultsStore> made(new DefaultsStore(suite));
  const Lock lock(mutex);
  return bySuite->try_emplace(suite, made).first->second;
}

DefaultsStore::DefaultsStore(const std::string& suite)
    : path_(Device::current().directories->preferences() + "/" + suite + ".plist"),
      lockPath_(Device::current().directories->preferences() + "/." + suite + ".lock"),
      file_(path_) {}

DefaultsStore::FileVersion DefaultsStore::versionOf(int file, const char* path) {
  struct stat status {};
  if (::fstatat(file, path, &status, AT_EMPTY_PATH) != 0) return {};
  return {true, status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

DefaultsStore::Loaded DefaultsStore::load() const {
  Loaded fresh;
  fresh.open = Descriptor(::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  // First the version, then the contents: should the file grow between the two, the contents are newer than the version
  // says, and the next look reads them again.
  if (fresh.open) fresh.version = versionOf(fresh.open.get(), "");
  StateFile file = fresh.open ? readStateFile(fresh.open.get(), path_, kMaximumMessageFile)
                              : readStateFile(path_, kMaximumMessageFile);
  if (file.outcome == StateFile::Outcome::unread) fresh.readError = std::move(file.error);
  if (file.outcome == StateFile::Outcome::refused) fresh.unreadable = std::move(file.error);
  if (file.outcome != StateFile::Outcome::read) return fresh;
  std::optional<Value> list = parsePropertyList(file.bytes, &fresh.unreadable);
  if (list && list->isDictionary()) {
    fresh.contents = std::move(*list);
  } else if (list) {
    fresh.unreadable = "it holds no dictionary";
  }
  return fresh;
}

/// For a reader that met a file in the middle of an append.
DefaultsStore::Loaded DefaultsStore::loadBetweenAppends() const {
  constexpr std::chrono::milliseconds kPatience(100);
  std::string error;
  const std::optional<FileLock> fileLock = FileLock::wait(lockPath_, kPatience, &error);
  if (fileLock) file_.finishInterrupted(error);
  return load();
}

DefaultsStore::Snapshot DefaultsStore::look(bool holdsFileLock) {
  const FileVersion now = versionOf(AT_FDCWD, path_.c_str());
  {
    const Lock lock(state_);
    if (isLoaded_ && now == loaded_.version) return snapshotLocked();
  }
  Loaded fresh = load();
  if (!fresh.unreadable.empty() && !holdsFileLock && file_.isInterrupted()) fresh = loadBetweenAppends();
  const Lock lock(state_);
  adoptLocked(fresh);
  return snapshotLocked();
}

DefaultsStore::Snapshot DefaultsStore::snapshotLocked() const {
  return {merged_, loaded_.contents, isLoaded_ ? std::string() : loaded_.readError, loaded_.unreadable};
}

bool DefaultsStore::hasUnwritten() const {
  const Lock lock(state_);
  return !unwritten_.empty();
}

void DefaultsStore::adoptLocked(Loaded& fresh) {
  // A file that cannot be read at the moment says nothing: what was known before still counts, and the next look tries
  // again.
  isLoaded_ = fresh.readError.empty();
  if (isLoaded_) {
    std::swap(loaded_, fresh);
  } else {
    loaded_.readError = fresh.readError;
  }
  mergeLocked();
}

void DefaultsStore::mergeLocked() {
  merged_ = loaded_.contents;
  for (const Change& change : unwritten_) {
    if (change.value) {
      merged_.setObjectNilHandled(change.value, change.key);
    } else {
      merged_.removeValidObjectForKey(change.key);
    }
  }
}

std::vector<DefaultsStore::Change> DefaultsStore::changesBetween(const Value& from, const Value& to) {
  std::vector<Change> changes;
  for (const Value::Entry& entry : to.entries()) {
    if (!isSameInPropertyList(from[entry.name()], entry.value))
      changes.push_back({std::string(entry.name()), entry.value});
  }
  for (const Value::Entry& entry : from.entries()) {
    if (!to[entry.name()]) changes.push_back({std::string(entry.name()), nil});
  }
  return changes;
}

DefaultsStore::Outcome DefaultsStore::transaction(const std::function<void(Value&)>& body, const Terms& terms,
                                                  std::string& error) {
  Reports reports;
  Outcome outcome = Outcome::busy;
  const Deadline deadline = deadlineAfter(terms.patience);
  if (lockSaving(deadline)) {
    const Lock lock(saving_, std::adopt_lock);
    const std::optional<FileLock> fileLock = lockFile(lockPath_, deadline, error);
    if (fileLock || !error.empty()) outcome = change(body, {.orNothing = terms.orNothing}, error, reports);
  }
  if (outcome == Outcome::busy) error = path_ + " is kept by another writer";
  Storage::report(reports);
  return outcome;
}

bool DefaultsStore::append(const ListPath& list, const Value& element,
                           std::optional<std::chrono::milliseconds> patience, std::string& error) {
  Reports reports;
  bool appended = false;
  const Deadline deadline = deadlineAfter(patience);
  if (lockSaving(deadline)) {
    const Lock lock(saving_, std::adopt_lock);
    const std::optional<FileLock> fileLock = lockFile(lockPath_, deadline, error);
    appended = fileLock && appendLocked(list, element, error, reports);
  }
  if (!appended && error.empty()) error = path_ + " is kept by another writer";
  Storage::report(reports);
  return appended;
}

bool DefaultsStore::appendLocked(const ListPath& list, const Value& element, std::string& error, Reports& reports) {
  if (!file_.finishInterrupted(error)) return false;
  if (!hasUnwritten()) {
    const AppendableFile::Outcome outcome = file_.append(list, element, error);
    if (outcome != AppendableFile::Outcome::unfit) return outcome == AppendableFile::Outcome::appended;
  }
  const std::function<Value(const Value&, std::size_t)> extended = [&](const Value& value, std::size_t depth) {
    if (depth == list.size()) {
      Value elements = value.isArray() ? value : Value::array();
      elements.append(element);
      return elements;
    }
    Value dictionary = value.isDictionary() ? value : Value::dictionary();
    dictionary.setObjectNilHandled(extended(value.validObjectForKey(list[depth]), depth + 1), list[depth]);
    return dictionary;
  };
  const auto body = [&](Value& contents) { contents = extended(contents, 0); };
  return change(body, {.orNothing = true, .appendable = &list}, error, reports) == Outcome::written;
}

bool DefaultsStore::lockSaving(Deadline deadline) {
  if (!deadline) {
    saving_.lock();
    return true;
  }
  while (!saving_.try_lock()) {
    if (std::chrono::steady_clock::now() >= *deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

/// The file's lock is held, unless `error` says that it cannot be: then nothing is written.
DefaultsStore::Outcome DefaultsStore::change(const std::function<void(Value&)>& body, const Way& way,
                                             std::string& error, Reports& reports) {
  if (error.empty()) file_.finishInterrupted(error);
  const Snapshot before = look(true);
  Value after = before.merged;
  body(after);
  if (!after.isDictionary()) throw Exception("a user-defaults store holds a dictionary");
  if (isSameInPropertyList(after, before.onDisk)) {
    const Lock lock(state_);
    unwritten_.clear();
    mergeLocked();
    Storage::succeeded(path_);
    return Outcome::written;
  }
  const std::optional<Data> appendable = way.appendable ? appendableList(after, *way.appendable) : std::nullopt;
  const Data bytes = appendable ? *appendable : binaryPropertyList(after);
  if (error.empty()) error = before.readError;
  if (error.empty()) fitsStateFile(path_, bytes.size(), kMaximumMessageFile, &error);
  if (error.empty() && write(bytes, before.unreadable, error, reports)) {
    Loaded fresh = load();
    const Lock lock(state_);
    unwritten_.clear();
    Storage::succeeded(path_);
    adoptLocked(fresh);
    return Outcome::written;
  }
  if (way.orNothing) return Outcome::unwritten;
  // What a reader of the file would have seen, without nulls for example.
  const std::vector<Change> changes = changesBetween(before.onDisk, parsePropertyList(bytes).value_or(after));
  const Lock lock(state_);
  unwritten_ = changes;
  mergeLocked();
  if (Storage::failed(path_, error)) reports.push_back(error + "; changes of these user defaults stay in memory");
  return Outcome::unwritten;
}

bool DefaultsStore::write(const Data& bytes, const std::string& unreadable, std::string& error, Reports& reports) {
  if (!unreadable.empty()) {
    const std::string aside = keepAside(path_, &error);
    if (aside.empty()) return false;
    reports.push_back("cannot read " + path_ + " (" + unreadable + "); it is kept as " + aside);
  }
  file_.forgetNote();
  if (replaceFile(path_, bytes, &error)) return true;
  if (readStateFile(path_, bytes.size()).bytes != bytes) return false;
  // Only the folder could not be synced. The new contents are there for everybody, so this is no failure, though a
  // power cut could still bring back the old ones.
  if (!std::exchange(unsynced_, true)) reports.push_back(error);
  error.clear();
  return true;
}

}  // namespace zn
