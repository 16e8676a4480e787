#include "ZNDevices/Simulator/TaskLine_p.h"

#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <filesystem>
#include <regex>

#include "ZNPlatform/Foundation/Exception.h"

namespace zn {

namespace {

/// Sets a variable for a scope; scopes may nest.
class Flagged {
 public:
  explicit Flagged(bool& flag) : flag_(flag), before_(flag) { flag_ = true; }
  ~Flagged() { flag_ = before_; }
  Flagged(const Flagged&) = delete;
  Flagged& operator=(const Flagged&) = delete;

 private:
  bool& flag_;
  const bool before_;
};

bool isPosixZone(const std::string& zone) {
  constexpr std::size_t kLongest = 100;  // a match recurses once a character
  if (zone.size() > kLongest) return false;
  static const std::regex form(
      R"((<[-+A-Za-z0-9]{3,}>|[A-Za-z]{3,})[-+]?\d{1,2}(:\d{1,2}){0,2})"
      R"(((<[-+A-Za-z0-9]{3,}>|[A-Za-z]{3,})([-+]?\d{1,2}(:\d{1,2}){0,2})?(,[JM]?[\d.]+(/[-+\d:]+)?){0,2})?)");
  return std::regex_match(zone, form);
}

bool isZoneFile(const std::string& zone) {
  if (zone.empty() || zone.front() == '/' || zone.front() == '.' || zone.find("..") != std::string::npos) return false;
  std::error_code ignored;
  return std::filesystem::is_regular_file("/usr/share/zoneinfo/" + zone, ignored);
}

}  // namespace

double TaskLine::now() const {
  Lock lock(mutex_);
  return now_;
}

void TaskLine::queue(Queue queue, double delay, Task task) {
  Lock lock(mutex_);
  if (closed_) return;
  const double due = delay > 0 ? now_ + delay : now_;
  tasks_.emplace(std::pair(due, queued_++), Entry{queue, std::move(task)});
}

std::optional<TaskLine::Entry> TaskLine::takeDue(double time) {
  Lock lock(mutex_);
  const auto first = tasks_.begin();
  if (first == tasks_.end() || first->first.first > time) return std::nullopt;
  now_ = std::max(now_, first->first.first);
  std::optional<Entry> entry(std::move(first->second));
  tasks_.erase(first);
  return entry;
}

void TaskLine::run(Entry entry) {
  const bool before = inBackground_;
  inBackground_ = entry.queue != Queue::main;
  runTask(entry.task, *device_.systemLog);
  inBackground_ = before;
}

std::size_t TaskLine::advanceTo(double time) {
  if (running_) throw Exception("a task may not run the simulator's line of tasks");
  Flagged running(running_);
  std::size_t count = 0;
  for (; auto entry = takeDue(time); ++count) run(std::move(*entry));
  Lock lock(mutex_);
  now_ = std::max(now_, time);
  return count;
}

void TaskLine::setBack(double time) {
  Lock lock(mutex_);
  now_ = time;
}

void TaskLine::close() {
  decltype(tasks_) dropped;
  Lock lock(mutex_);
  closed_ = true;
  dropped.swap(tasks_);
}

void TaskLine::runInBackground(const std::function<void()>& body) {
  Flagged background(inBackground_);
  body();
}

void SimulatedClock::setZone(const std::string& zone) {
  if (zone != "UTC" && zone != "GMT" && !isPosixZone(zone) && !isZoneFile(zone)) {
    throw Exception("there is no time zone \"" + zone + "\"");
  }
  setenv("TZ", zone.c_str(), 1);
  tzset();
}

}  // namespace zn
