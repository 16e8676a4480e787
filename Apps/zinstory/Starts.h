#pragma once

#include <csignal>
#include <functional>

namespace zinstory {

constexpr int kSignalled = 128;  ///< added to the signal's number, as shells do

/// Starts of an application, each in a process of its own. While this object lives, a signal that asks this process to
/// end (SIGINT, SIGTERM, SIGHUP, unless ignored) ends the present start and what that has started; it takes effect here
/// at the end of this object, so that what was made after it is put away. To be made while this process has one thread.
class Starts {
 public:
  Starts();
  ~Starts();
  Starts(const Starts&) = delete;
  Starts& operator=(const Starts&) = delete;

  /// Runs `body` in a new process, which also ends when this one is killed. Returns its exit status, or kSignalled and
  /// the number of the signal that ended it. Throws zn::Exception where there is no new process.
  int run(const std::function<int()>& body);
  bool isAskedToEnd() const { return askedToEnd_; }

 private:
  void awaitEnd(pid_t child, int& status);

  sigset_t awaited_;
  sigset_t before_;
  bool askedToEnd_ = false;
};

}  // namespace zinstory
