#include "Apps/zinsim/LineReader.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "Apps/CommandLine.h"

namespace zinsim {

namespace {

volatile sig_atomic_t endingSignal = 0;

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

/// The first one is noted; whichever comes next ends the process as if nobody had asked for it.
void noteSignal(int noted) {
  endingSignal = noted;
  for (const int signal : kEndingSignals) {
    struct sigaction present = {};
    sigaction(signal, nullptr, &present);
    if (present.sa_handler == noteSignal) ::signal(signal, SIG_DFL);
  }
}

void noteEndingSignals() {
  struct sigaction action = {};
  action.sa_handler = noteSignal;
  action.sa_flags = 0;  // no SA_RESTART: waiting for input shall end
  for (const int signal : kEndingSignals) {
    struct sigaction before = {};
    sigaction(signal, nullptr, &before);
    if (before.sa_handler != SIG_IGN) sigaction(signal, &action, nullptr);  // nohup stays in force
  }
}

/// Waits until there is something to read or a signal asks for the end. The signals are let in while waiting only: one
/// that came between a look at `endingSignal` and the wait would be slept over.
void waitForInput(int descriptor) {
  sigset_t ending;
  sigset_t before;
  sigemptyset(&ending);
  for (const int signal : kEndingSignals) sigaddset(&ending, signal);
  sigprocmask(SIG_BLOCK, &ending, &before);
  pollfd input = {descriptor, POLLIN, 0};
  if (!endingSignal) ppoll(&input, 1, nullptr, &before);
  sigprocmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace

LineReader::LineReader(const std::string& path) : name_(path == "-" ? "standard input" : path) {
  if (path != "-") file_ = zn::Descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (path != "-" && !file_) throw apps::UsageError(name_ + ": " + std::strerror(errno));
  struct stat status = {};
  if (fstat(input(), &status) == 0 && S_ISDIR(status.st_mode)) {
    throw apps::UsageError(name_ + ": " + std::strerror(EISDIR));
  }
  noteEndingSignals();
}

int LineReader::endedBySignal() { return endingSignal; }

bool LineReader::readMore() {
  char bytes[64 * 1024];
  while (!endingSignal) {
    waitForInput(input());
    if (endingSignal) break;
    const ssize_t count = ::read(input(), bytes, sizeof bytes);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throw apps::UsageError(name_ + ": " + std::strerror(errno));
    pending_.append(bytes, static_cast<std::size_t>(count));
    isAtEnd_ = count == 0;
    return !isAtEnd_;
  }
  return false;
}

std::optional<std::string> LineReader::next() {
  std::size_t end = pending_.find('\n', start_);
  while (end == std::string::npos) {
    pending_.erase(0, std::exchange(start_, 0));
    const std::size_t searched = pending_.size();
    if (isAtEnd_ || !readMore()) break;
    end = pending_.find('\n', searched);
  }
  if (endingSignal || (end == std::string::npos && pending_.empty())) return std::nullopt;
  if (end == std::string::npos) return std::exchange(pending_, {});
  std::string line = pending_.substr(start_, end - start_);
  start_ = end + 1;
  return line;
}

}  // namespace zinsim
