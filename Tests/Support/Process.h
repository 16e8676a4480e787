#pragma once

#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Tests/Support/Awaited.h"

namespace zn::test {

using Environment = std::map<std::string, std::string>;

/// A child process, which ends with this one at the latest. What it writes to standard output is read all the time;
/// its standard input is what it is told.
class Process {
 public:
  /// `environment`: beside this process's own, before which it counts.
  explicit Process(std::vector<std::string> arguments, const Environment& environment = {}) {
    int ends[2];
    // No pipe, since reading it could not be broken off while a process that the child started holds the other end.
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
    output_ = ::fdopen(ends[0], "r");
    // All is made before the fork: after it another thread's lock on the heap may be held for ever.
    Environment whole = environment;
    for (char** each = environ; *each; ++each) {
      const std::string text = *each;
      whole.emplace(text.substr(0, text.find('=')), text.substr(text.find('=') + 1));
    }
    std::vector<std::string> settings;
    for (const auto& [name, value] : whole) settings.push_back(name + "=" + value);
    const std::vector<char*> list = pointersTo(arguments);
    const std::vector<char*> variables = pointersTo(settings);
    const pid_t parent = ::getpid();
    id_ = ::fork();
    if (id_ < 0) std::abort();
    if (id_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (::getppid() != parent) ::_exit(126);
      ::dup2(ends[1], STDIN_FILENO);
      ::dup2(ends[1], STDOUT_FILENO);
      ::execvpe(list[0], list.data(), variables.data());
      ::_exit(127);
    }
    ::close(ends[1]);
    reading_ = std::thread([this] { readAll(); });
  }
  ~Process() {
    if (id_ > 0) end(SIGKILL);
    ::shutdown(::fileno(output_), SHUT_RDWR);
    reading_.join();
    std::fclose(output_);
  }
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  /// The next line, without its line feed; "" at the end, or where none comes.
  std::string line() { return lineWith(""); }
  /// The next line with that in it; those before it are gone.
  std::string lineWith(const std::string& part) {
    const auto until = std::chrono::steady_clock::now() + kPatience;
    std::unique_lock<std::mutex> lock(mutex_);
    for (;;) {
      if (!changed_.wait_until(lock, until, [this] { return !lines_.empty() || hasEnded_; })) return "";
      if (lines_.empty()) return "";
      const std::string next = lines_.front();
      lines_.pop_front();
      if (next.find(part) != std::string::npos) return next;
    }
  }
  void say(const std::string& text) const {
    const std::string whole = text + "\n";
    ::send(::fileno(output_), whole.data(), whole.size(), MSG_NOSIGNAL);
  }
  void endInput() const { ::shutdown(::fileno(output_), SHUT_WR); }
  /// The exit status; -1 when it was killed.
  int end(int signal) {
    if (signal) ::kill(id_, signal);
    int status = 0;
    ::waitpid(id_, &status, 0);
    id_ = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  void signal(int number) const { ::kill(id_, number); }

 private:
  static std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> list;
    for (std::string& each : texts) list.push_back(each.data());
    list.push_back(nullptr);
    return list;
  }

  void readAll() {
    std::string line;
    for (int next = std::fgetc(output_); next != EOF; next = std::fgetc(output_)) {
      if (next != '\n') {
        line += static_cast<char>(next);
        continue;
      }
      const std::lock_guard<std::mutex> lock(mutex_);
      lines_.push_back(std::exchange(line, ""));
      changed_.notify_all();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    hasEnded_ = true;
    changed_.notify_all();
  }

  pid_t id_ = 0;
  std::FILE* output_ = nullptr;
  std::thread reading_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::string> lines_;  // these two are guarded by mutex_
  bool hasEnded_ = false;
};

}  // namespace zn::test
