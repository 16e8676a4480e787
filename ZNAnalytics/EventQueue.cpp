#include "ZNAnalytics/EventQueue_p.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "ZNAnalytics/EventID_p.h"
#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Descriptor_p.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zn {

namespace {

void tell(const std::string& report) {
  if (!report.empty()) Device::current().systemLog->diagnostic(report);
}

/// What a queue of ours can be: one event may take it over its own limit.
bool isQueue(const struct stat& status) {
  return S_ISREG(status.st_mode) && static_cast<std::uintmax_t>(status.st_size) <= kMaximumStateFile;
}

}  // namespace

EventQueue::~EventQueue() {
  Lock lock(mutex_);
  closeLocked();
}

void EventQueue::closeLocked() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
}

void EventQueue::reportLocked(const std::string& problem) {
  if (!reported_) report_ = problem;
  reported_ = true;
}

bool EventQueue::openLocked() {
  if (descriptor_ >= 0) return true;
  const std::string folder = stringByAppendingPathComponent(Device::current().directories->library(), "ZNAnalytics");
  path_ = stringByAppendingPathComponent(folder, "Events.jsonl");
  createDirectoryAtPath(folder, true);
  descriptor_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0600);
  struct stat status = {};
  if (descriptor_ >= 0 && ::fstat(descriptor_, &status) == 0 && !isQueue(status)) {
    closeLocked();
    if (keepForeignFileLocked()) descriptor_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  }
  if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0) {
    reportLocked("events cannot be queued in " + path_ + ": " + std::strerror(errno));
    closeLocked();
    return false;
  }
  size_ = status.st_size;
  char last = '\n';
  if (size_ > 0 && ::pread(descriptor_, &last, 1, size_ - 1) == 1 && last != '\n') {
    // A process that was killed while it wrote left half a line; end it, so that only that one is lost.
    if (::pwrite(descriptor_, "\n", 1, size_) == 1) ++size_;
  }
  return true;
}

/// Makes room for a queue where something else stands, such as a FIFO.
bool EventQueue::keepForeignFileLocked() {
  std::string error;
  const std::string aside = keepAside(path_, &error);
  if (!aside.empty() && (::unlink(path_.c_str()) == 0 || errno == ENOENT)) {
    reportLocked("cannot use " + path_ + " (it is no queue of events); it is kept as " + aside);
    reported_ = false;
    return true;
  }
  if (!aside.empty()) ::unlink(aside.c_str());
  errno = EEXIST;
  return false;
}

void EventQueue::append(const Value& event) {
  std::string text = jsonText(event);
  text += '\n';
  std::string report;
  {
    Lock lock(mutex_);
    appendLocked(text);
    report = std::exchange(report_, {});
  }
  tell(report);
}

void EventQueue::appendLocked(const std::string& line) {
  if (!openLocked()) return;
  if (size_ + static_cast<std::int64_t>(line.size()) > maximumBytes) {
    if (front_ < size_ / 2) reportLocked("the older half of the queued events was dropped: " + path_ + " is full");
    dropFrontLocked(std::max(front_, size_ / 2));
  }
  if (!openLocked()) return;
  const ssize_t written = ::pwrite(descriptor_, line.data(), line.size(), size_);
  if (written == static_cast<ssize_t>(line.size())) {
    size_ += written;
    reported_ = false;
    return;
  }
  reportLocked("an event could not be queued in " + path_ + ": " + std::strerror(written < 0 ? errno : ENOSPC));
  closeLocked();  // opening it again ends a line that was half written
}

std::int64_t EventQueue::bytes() {
  Lock lock(mutex_);
  return openLocked() ? size_ - front_ : 0;
}

/// At least one whole line, if there is one.
std::string EventQueue::readFrontLocked(std::size_t most) {
  const auto all = static_cast<std::size_t>(size_ - front_);
  for (std::size_t length = std::min(most, all);; length = std::min(2 * length, all)) {
    std::string text(length, '\0');
    const ssize_t count = ::pread(descriptor_, text.data(), length, front_);
    if (count < 0) reportLocked("queued events cannot be read: " + path_ + ": " + std::strerror(errno));
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    if (length == all || text.size() < length || text.find('\n') != std::string::npos) return text;
  }
}

EventQueue::Batch EventQueue::read(std::size_t maximumEvents, std::int64_t maximumBytes_) {
  Batch batch;
  batch.events = Value::array();
  std::string text;
  std::string report;
  {
    Lock lock(mutex_);
    if (openLocked()) text = readFrontLocked(static_cast<std::size_t>(std::max<std::int64_t>(maximumBytes_, 1)));
    dropped_ = 0;
    report = std::exchange(report_, {});
  }
  tell(report);
  std::int64_t events = 0;  // bytes of their lines
  std::string_view rest(text);
  for (std::size_t end; (end = rest.find('\n')) != std::string_view::npos; rest.remove_prefix(end + 1)) {
    const auto length = static_cast<std::int64_t>(end) + 1;
    auto event = parseJson(rest.substr(0, end));
    const bool isFull = batch.events.size() >= maximumEvents || events + length > maximumBytes_;
    if (event && isFull && !batch.events.isEmpty()) break;
    if (event && event->isDictionary() && (*event)[kQueuedEventID].isNil()) {
      event->setObjectNilHandled(eventIDOf(rest.substr(0, end)), kQueuedEventID);
    }
    if (event) events += length;
    if (event) batch.events.append(std::move(*event));
    batch.bytes += length;
  }
  return batch;
}

void EventQueue::remove(const Batch& batch) {
  std::string report;
  {
    Lock lock(mutex_);
    if (batch.bytes > dropped_ && openLocked()) blankLocked(batch.bytes - dropped_);
    dropped_ = 0;
    report = std::exchange(report_, {});
  }
  tell(report);
}

void EventQueue::blankLocked(std::int64_t bytes) {
  const std::int64_t end = std::min(front_ + bytes, size_);
  if (end == size_) return dropFrontLocked(size_);
  std::string blanks(static_cast<std::size_t>(end - front_), ' ');
  if (!blanks.empty()) blanks.back() = '\n';
  if (::pwrite(descriptor_, blanks.data(), blanks.size(), front_) != static_cast<ssize_t>(blanks.size())) {
    reportLocked("events that were sent stay in " + path_ + ": " + std::strerror(errno));
  }
  front_ = end;
}

std::string EventQueue::setAside(const Value& event) {
  const std::string line = jsonText(event) + '\n';
  std::string path;
  {
    Lock lock(mutex_);
    path = path_ + ".refused";
  }
  const Descriptor file(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600));
  struct stat status = {};
  if (file && ::fstat(file.get(), &status) == 0) {
    if (status.st_size + static_cast<std::int64_t>(line.size()) > maximumBytes) {
      tell(path + " is full");
      return "";
    }
    if (::write(file.get(), line.data(), line.size()) == static_cast<ssize_t>(line.size())) return path;
  }
  tell("a refused event could not be kept in " + path + ": " + std::strerror(errno));
  return "";
}

void EventQueue::dropFrontLocked(std::int64_t bytes) {
  // All of it, as after most requests: there is nothing to keep, so nothing to write and to sync.
  if (bytes >= size_ && ::ftruncate(descriptor_, 0) == 0) {
    dropped_ += std::exchange(size_, 0) - std::exchange(front_, 0);
    return;
  }
  std::string error;
  auto contents = readFile(path_, &error);
  if (!contents) return reportLocked("queued events cannot be read: " + error);
  auto from = contents->begin() + std::min<std::int64_t>(bytes, static_cast<std::int64_t>(contents->size()));
  if (from != contents->begin() && *(from - 1) != '\n') {
    from = std::find(from, contents->end(), '\n');
    if (from != contents->end()) ++from;
  }
  const auto removed = from - contents->begin();
  closeLocked();
  if (!replaceFile(path_, {from, contents->end()}, &error)) return reportLocked(error);
  dropped_ += std::max<std::int64_t>(removed - std::exchange(front_, 0), 0);
}

}  // namespace zn
