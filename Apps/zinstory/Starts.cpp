#include "Apps/zinstory/Starts.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "ZNPlatform/Foundation/Exception.h"

namespace zinstory {

Starts::Starts() {
  sigemptyset(&awaited_);
  sigaddset(&awaited_, SIGCHLD);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&awaited_, signal);  // nohup stays in force
  }
  sigprocmask(SIG_BLOCK, &awaited_, &before_);
  ::prctl(PR_SET_CHILD_SUBREAPER, 1);  // whom a start leaves behind becomes a child of this process
}

Starts::~Starts() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

int Starts::run(const std::function<int()>& body) {
  if (askedToEnd_) return kSignalled + SIGTERM;
  std::fflush(stdout);
  const pid_t parent = ::getpid();
  const pid_t child = ::fork();
  if (child < 0) throw zn::Exception(std::string("no second process: ") + std::strerror(errno));
  if (child == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    sigprocmask(SIG_SETMASK, &before_, nullptr);
    if (::getppid() != parent) ::_exit(1);
    std::exit(body());  // not a return: what the caller has made belongs to the parent
  }
  int status = 0;
  awaitEnd(child, status);
  while (::waitpid(-1, nullptr, 0) > 0 || errno == EINTR) {
  }  // a server that the start left behind hears of its end, and ends
  return WIFSIGNALED(status) ? kSignalled + WTERMSIG(status) : WEXITSTATUS(status);
}

void Starts::awaitEnd(pid_t child, int& status) {
  while (::waitpid(child, &status, WNOHANG) == 0) {
    const int signal = ::sigwaitinfo(&awaited_, nullptr);
    if (signal < 0 || signal == SIGCHLD) continue;
    askedToEnd_ = true;
    ::kill(child, SIGTERM);
    ::raise(signal);  // held back until everything is put away
    sigdelset(&awaited_, signal);
  }
}

}  // namespace zinstory
