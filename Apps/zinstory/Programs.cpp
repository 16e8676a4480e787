#include "Apps/zinstory/Programs.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "ZNPlatform/Foundation/Descriptor_p.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zinstory {

std::string programBeside(const std::string& name) {
  std::error_code failure;
  const auto own = std::filesystem::read_symlink("/proc/self/exe", failure);
  const std::string program = (own.parent_path() / name).string();
  if (failure || ::access(program.c_str(), X_OK) != 0) {
    throw zn::Exception(program + " cannot be started: " + std::strerror(errno));
  }
  return program;
}

void feedProgram(const std::string& name, const std::vector<std::string>& arguments, const std::string& line) {
  const std::string program = programBeside(name);
  std::vector<char*> words{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);

  const std::string text = line + "\n";  // fits a pipe, so writing it waits for nobody
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw zn::Exception(std::string("no pipe: ") + std::strerror(errno));
  const zn::Descriptor reading(ends[0]);
  zn::Descriptor writing(ends[1]);
  const bool written = ::write(writing.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
  writing.close();

  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, reading.get(), STDIN_FILENO);
  pid_t process = 0;
  const int failure = ::posix_spawn(&process, program.c_str(), &actions, nullptr, words.data(), environ);
  ::posix_spawn_file_actions_destroy(&actions);
  int status = -1;
  while (failure == 0 && ::waitpid(process, &status, 0) < 0 && errno == EINTR) {
  }
  if (!written || status != 0) throw zn::Exception(program + " could not do its work");
}

}  // namespace zinstory
