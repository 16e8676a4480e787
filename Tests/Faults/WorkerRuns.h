#pragma once

// Runs of the worker on a home of its own, and what must hold after them.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Tests/Support/TestHome.h"

namespace zn::test {

using Lines = std::vector<std::string>;
/// The contents of a folder: files by path, below it.
using FolderState = std::map<std::string, std::string>;

inline FolderState readFolder(const std::string& path) {
  FolderState state;
  for (const auto& each : std::filesystem::recursive_directory_iterator(path)) {
    if (!each.is_regular_file()) continue;
    std::ifstream file(each.path(), std::ios::binary);
    state[std::filesystem::relative(each.path(), path)] = {std::istreambuf_iterator<char>(file), {}};
  }
  return state;
}

/// Makes the folder hold that, and nothing else.
inline void writeFolder(const FolderState& state, const std::string& path) {
  std::filesystem::remove_all(path);
  std::filesystem::create_directories(path);
  for (const auto& [name, contents] : state) {
    const std::filesystem::path file = std::filesystem::path(path) / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << contents;
  }
}

/// What a worker said, line by line, and how it ended.
struct WorkerRun {
  Lines lines{};
  int status = 0;  ///< as waitpid gives it

  bool hung() const { return WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM; }
  bool saidAnything() const {
    return std::ranges::any_of(
        lines, [](const std::string& line) { return line.starts_with("said ") || line.starts_with("zintar: "); });
  }
};

/// A work on a home where things are stored before it begins.
class Works : public ::testing::TestWithParam<const char*> {
 protected:
  Works() {
    std::filesystem::create_directories(home);
    EXPECT_EQ(run("prepare").status, 0);
    prepared = readFolder(home);
    before = run("check").lines;
    EXPECT_GE(before.size(), 8u);
  }
  /// `fault_worker HOME WORK`, to its end.
  WorkerRun run(const std::string& work, const std::string& variables = "") const {
    const std::string command = variables + " exec '" ZN_FAULT_WORKER "' '" + home + "' " + work + " 2>&1";
    std::FILE* const output = popen(command.c_str(), "r");
    std::string text;
    char part[4096];
    for (std::size_t size; (size = std::fread(part, 1, sizeof part, output)) > 0;) text.append(part, size);
    WorkerRun run{.status = pclose(output)};
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) run.lines.push_back(line);
    return run;
  }
  /// The work on the prepared home, its file operations as the variable says.
  WorkerRun runPrepared(const std::string& variable) const {
    writeFolder(prepared, home);
    return run(GetParam(), "ZN_FILES_HOME='" + home + "' " + variable);
  }
  /// Of so many, or of all if ZN_FAULTS=all is in the environment.
  static std::size_t stepOf(std::size_t sample) {
    const char* const scope = std::getenv("ZN_FAULTS");
    return scope && std::string(scope) == "all" ? 1 : sample;
  }

  const MemoryFolder folder;
  const std::string home = folder / "home";
  const std::string trace = folder / "trace";
  FolderState prepared;
  Lines before;
};

/// The first word, and the rest.
inline std::pair<std::string, std::string> split(const std::string& line) {
  const auto space = line.find(' ');
  return {line.substr(0, space), space == std::string::npos ? "" : line.substr(space + 1)};
}

/// What a line is about: "inbox a" of "inbox a clicked".
inline std::string subjectOf(const std::string& line) { return line.substr(0, line.find(' ', line.find(' ') + 1)); }

/// Each thing that is there, as often as it is: an event counts by its id, however often it was sent. The module's own
/// events, one for each click, are none that were asked for.
inline std::multiset<std::string> thingsIn(const Lines& run, const Lines& after) {
  std::multiset<std::string> things;
  std::set<std::string> sent;
  for (const Lines* lines : {&run, &after}) {
    for (const std::string& line : *lines) {
      const auto [kind, rest] = split(line);
      const bool isOwn = split(rest).second.starts_with("ZN_") || split(rest).second.starts_with("NOTIFICATION_");
      if (kind == "sent" && !isOwn && sent.insert(rest).second) things.insert("event " + split(rest).second);
      if (lines == &after && (kind == "inbox" || kind == "trigger")) things.insert(line);
    }
  }
  return things;
}

/// What is wrong with what a home holds after a run, or "": everything that was there before, and all that the run said
/// to be stored, is there once. `mayBeMissing`: what the run did and did not call stored may be missing, since it gave
/// notice, or since power was cut before.
inline std::string problemWith(const Lines& before, const Lines& run, const WorkerRun& after, bool mayBeMissing) {
  if (after.hung()) return "the next start hangs";
  if (after.status != 0) return "the next start ends with status " + std::to_string(after.status);
  const std::multiset<std::string> things = thingsIn(run, after.lines);
  std::map<std::string, int> count;
  for (const std::string& thing : things) ++count[subjectOf(thing)];
  // A message that was clicked later is there as clicked.
  const auto isThere = [&](const std::string& thing) {
    return things.contains(thing) || (thing.ends_with(" new") && count[subjectOf(thing)] > 0);
  };
  const auto isRemoved = [&](const std::string& thing) {
    return std::ranges::any_of(run, [&](const std::string& line) {
      return line == "removed " + subjectOf(thing) || line == "removing " + subjectOf(thing);
    });
  };
  std::ostringstream problem;
  for (const auto& [subject, times] : count) {
    if (times > 1) problem << "doubled: " << subject << "; ";
  }
  for (const std::string& thing : thingsIn({}, before)) {
    if (!isThere(thing) && !isRemoved(thing)) problem << "lost, though it was there before: " << thing << "; ";
  }
  for (const std::string& line : run) {
    const auto [kind, thing] = split(line);
    const bool isKept = kind == "kept";
    if (kind == "removed" && count[thing] > 0 && !mayBeMissing) problem << "back again: " << thing << "; ";
    if (!isKept && kind != "done" && kind != "tracked") continue;
    if (isThere(thing) || isRemoved(thing) || (mayBeMissing && !isKept)) continue;
    problem << (isKept ? "lost, though it was called stored: " : "lost without a word: ") << thing << "; ";
  }
  return problem.str();
}

}  // namespace zn::test
