#include "Apps/zinstory/CampaignServer.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>

#include "Apps/zinstory/Programs.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zinstory {

namespace {

constexpr int kPatienceMilliseconds = 10000;
constexpr std::string_view kGreeting = "listening on ";

/// In the new process: becomes the server, which also ends when the story does. Its log is not part of the story.
[[noreturn]] void becomeServer(const char* program, const char* folder, int output, pid_t parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGTERM);
  const int nowhere = ::open("/dev/null", O_RDWR);
  ::dup2(nowhere, STDIN_FILENO);
  ::dup2(nowhere, STDERR_FILENO);
  ::dup2(output, STDOUT_FILENO);
  if (::getppid() == parent) ::execl(program, program, "--folder", folder, "--port", "0", nullptr);
  ::_exit(127);
}

}  // namespace

CampaignServer::CampaignServer(const std::string& folder) {
  const std::string program = programBeside("zinserver");
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw zn::Exception(std::string("no pipe: ") + std::strerror(errno));
  output_ = zn::Descriptor(ends[0]);
  zn::Descriptor writing(ends[1]);
  const pid_t parent = ::getpid();
  process_ = ::fork();
  if (process_ == 0) becomeServer(program.c_str(), folder.c_str(), writing.get(), parent);
  writing.close();
  const std::string line = process_ > 0 ? readLine() : "";
  if (!line.starts_with(kGreeting)) {
    stop();
    throw zn::Exception(program + " did not start with the campaigns in " + folder);
  }
  address_ = line.substr(kGreeting.size());
}

/// False at the end of the output, or when nothing came for too long.
bool CampaignServer::readSome(std::string& text) {
  pollfd waiting{output_.get(), POLLIN, 0};
  char bytes[256];
  if (::poll(&waiting, 1, kPatienceMilliseconds) <= 0) return false;
  const ssize_t count = ::read(output_.get(), bytes, sizeof bytes);
  if (count > 0) text.append(bytes, static_cast<std::size_t>(count));
  return count > 0;
}

std::string CampaignServer::readLine() {
  std::string text;
  while (text.find('\n') == text.npos && readSome(text)) {
  }
  const std::size_t end = text.find('\n');
  return end == text.npos ? "" : text.substr(0, end);
}

void CampaignServer::stop() {
  if (process_ <= 0) return;
  ::kill(process_, SIGTERM);
  std::string rest;
  while (readSome(rest)) {  // the output ends with the process
  }
  ::kill(process_, SIGKILL);  // of no effect on one that has ended
  while (::waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
  }
  process_ = 0;
}

}  // namespace zinstory
