#include "Apps/zinsim/Expectation.h"

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <utility>
#include <vector>

#include "Apps/CommandLine.h"
#include "ZNPlatform/Foundation/Descriptor_p.h"
#include "ZNPlatform/Foundation/File.h"

namespace zinsim {

namespace {

/// The text without lines of these kinds.
std::string withoutKinds(std::string_view text, const std::set<std::string>& kinds) {
  std::string kept;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1);
    text.remove_prefix(line.size());
    const auto isOne = [&](const std::string& kind) { return line.starts_with("{\"" + kind + "\": "); };
    if (std::none_of(kinds.begin(), kinds.end(), isOne)) kept += line;
  }
  return kept;
}

/// A file without a name. Other programs read it at the path that is returned while `file` is open.
std::string anonymousFile(std::string_view text, zn::Descriptor& file) {
  file = zn::Descriptor(::memfd_create("zinsim", 0));  // not closed in the program that reads it
  while (file && !text.empty()) {
    const ssize_t written = ::write(file.get(), text.data(), text.size());
    if (written < 0 && errno != EINTR) return "";
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  return file ? "/dev/fd/" + std::to_string(file.get()) : "";
}

/// Prints a unified difference. False, with errno, where that cannot be done.
bool printDifference(std::string_view expected, std::string_view printed, const std::string& path) {
  zn::Descriptor files[2];
  std::string arguments[] = {"diff", "-u", "--label", path, "--label", "what is printed", "", ""};
  arguments[6] = anonymousFile(expected, files[0]);
  arguments[7] = anonymousFile(printed, files[1]);
  if (arguments[6].empty() || arguments[7].empty()) return false;
  std::vector<char*> list;
  for (std::string& argument : arguments) list.push_back(argument.data());
  list.push_back(nullptr);
  pid_t program;
  errno = ::posix_spawnp(&program, list[0], nullptr, nullptr, list.data(), environ);
  if (errno != 0) return false;
  int status = 0;
  while (::waitpid(program, &status, 0) < 0 && errno == EINTR) {
  }
  errno = 0;
  return WIFEXITED(status) && WEXITSTATUS(status) == 1;
}

}  // namespace

Expectation::Expectation(std::string path, bool updates) : path_(std::move(path)), updates_(updates) {
  std::string error;
  if (const auto bytes = zn::readFile(path_, &error)) {
    expected_.assign(bytes->begin(), bytes->end());
  } else if (!error.empty()) {
    throw apps::UsageError(error);
  } else if (!updates_) {
    throw apps::UsageError(path_ + ": " + std::strerror(ENOENT) + "; --update writes it");
  }
}

int Expectation::check(std::string_view printed, const std::set<std::string>& except) const {
  const std::string expected = withoutKinds(expected_, except);
  if (expected == printed) return 0;
  if (updates_) return write(printed);
  if (!printDifference(expected, printed, path_)) {
    return apps::complain("what is printed differs from " + path_ + ", and diff cannot show where" +
                              (errno ? std::string(": ") + std::strerror(errno) : ""),
                          apps::kFailed);
  }
  return apps::kFailed;
}

/// In place: the file keeps its permissions, and links to it stay.
int Expectation::write(std::string_view printed) const {
  std::ofstream file(path_, std::ios::binary | std::ios::trunc);
  file << printed << std::flush;
  if (!file) return apps::complain("cannot write " + path_ + ": " + std::strerror(errno), apps::kFailed);
  return apps::complain(path_ + " is updated", 0);
}

}  // namespace zinsim
