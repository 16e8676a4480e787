#include "ZNAnalytics/EventQueue.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include "Platform/Device.h"
#include "Platform/Foundation/File.h"
#include "Platform/Foundation/Json.h"

namespace zn {

namespace {

void tell(const std::string& report) {
  if (!report.empty()) Device::current().systemLog->diagnostic(report);
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
  descriptor_ = ::open(path_.c_str(), O_RDWR | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
  struct stat status = {};
  if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0) {
    reportLocked("events cannot be queued in " + path_ + ": " + std::strerror(errno));
    closeLocked();
    return false;
  }
  size_ = status.st_size;
  char last = '\n';
  if (size_ > 0 && ::pread(descriptor_, &last, 1, size_ - 1) == 1 && last != '\n') {
    // A process that was killed while it wrote left half a line; end it, so that only that one is lost.
    if (::write(descriptor_, "\n", 1) == 1) ++size_;
  }
  return true;
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
    reportLocked("the older half of the queued events was dropped: " + path_ + " is full");
    dropFrontLocked(size_ / 2);
  }
  if (!openLocked()) return;
  const ssize_t written = ::write(descriptor_, line.data(), line.size());
  if (written == static_cast<ssize_t>(line.size())) {
    size_ += written;
    reported_ = false;
    return;
  }
  reportLocked("an event could not be queued in " + path_ + ": " + std::strerror(written < 0 ? errno : ENOSPC));
  closeLocked();  // opening it again ends a line that was half written
}

EventQueue::Batch EventQueue::read() {
  Batch batch;
  std::optional<Data> bytes;
  std::string report;
  {
    Lock lock(mutex_);
    if (openLocked()) bytes = readFile(path_);
    dropped_ = 0;
    report = std::exchange(report_, {});
  }
  tell(report);
  batch.events = Value::array();
  if (!bytes) return batch;
  std::string_view rest(reinterpret_cast<const char*>(bytes->data()), bytes->size());
  for (std::size_t end; (end = rest.find('\n')) != std::string_view::npos; rest.remove_prefix(end + 1)) {
    if (auto event = parseJson(rest.substr(0, end))) batch.events.append(std::move(*event));
    batch.bytes += static_cast<std::int64_t>(end) + 1;
  }
  return batch;
}

void EventQueue::remove(const Batch& batch) {
  std::string report;
  {
    Lock lock(mutex_);
    if (batch.bytes > dropped_ && openLocked()) dropFrontLocked(batch.bytes - dropped_);
    report = std::exchange(report_, {});
  }
  tell(report);
}

void EventQueue::dropFrontLocked(std::int64_t bytes) {
  // All of it, as after most requests: there is nothing to keep, so nothing to write and to sync.
  if (bytes >= size_ && ::ftruncate(descriptor_, 0) == 0) {
    dropped_ += std::exchange(size_, 0);
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
  dropped_ += removed;
}

}  // namespace zn
