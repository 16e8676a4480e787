#include "Tests/Faults/WorkerRuns.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <set>
#include <sstream>

namespace zn::test {

namespace {

struct Pipes {
  pid_t process = 0;
  int input = -1;
  std::FILE* output = nullptr;
};

Pipes start(const std::vector<std::string>& arguments, const Environment& environment) {
  int in[2];
  int out[2];
  EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
  EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
  const pid_t child = fork();
  if (child == 0) {
    dup2(in[0], STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    dup2(out[1], STDERR_FILENO);
    for (const auto& [name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
    std::vector<char*> words{const_cast<char*>(ZN_FAULT_WORKER)};
    for (const std::string& each : arguments) words.push_back(const_cast<char*>(each.c_str()));
    words.push_back(nullptr);
    execv(ZN_FAULT_WORKER, words.data());
    _exit(127);
  }
  close(in[0]);
  close(out[1]);
  return {child, in[1], fdopen(out[0], "r")};
}

bool readLine(std::FILE* file, std::string& line) {
  line.clear();
  for (int c; (c = std::fgetc(file)) != EOF;) {
    if (c == '\n') return true;
    line += static_cast<char>(c);
  }
  return !line.empty();
}

/// The first word, and the rest.
std::pair<std::string, std::string> split(const std::string& line) {
  const auto space = line.find(' ');
  return {line.substr(0, space), space == std::string::npos ? "" : line.substr(space + 1)};
}

/// What a line is about: "inbox a" of "inbox a clicked".
std::string subjectOf(const std::string& line) { return line.substr(0, line.find(' ', line.find(' ') + 1)); }

/// Each thing that is there, as often as it is: an event counts by its id, however often it was sent. The module's own
/// events, one for each click, are none that were asked for.
std::multiset<std::string> thingsIn(const std::vector<std::string>& run, const std::vector<std::string>& after) {
  std::multiset<std::string> things;
  std::set<std::string> sent;
  for (const auto* lines : {&run, &after}) {
    for (const std::string& line : *lines) {
      const auto [kind, rest] = split(line);
      const bool isOwn = split(rest).second.starts_with("ZN_") || split(rest).second.starts_with("NOTIFICATION_");
      if (kind == "sent" && !isOwn && sent.insert(rest).second) things.insert("event " + split(rest).second);
      if (lines == &after && (kind == "inbox" || kind == "trigger")) things.insert(line);
    }
  }
  return things;
}

}  // namespace

bool triesAll() {
  const char* const scope = std::getenv("ZN_FAULTS");
  return scope && std::string(scope) == "all";
}

bool WorkerRun::hung() const { return WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM; }

bool WorkerRun::saidAnything() const {
  for (const std::string& line : lines) {
    if (line.starts_with("said ") || line.starts_with("zintar: ")) return true;
  }
  return false;
}

WorkerRun runWorker(const std::string& home, const std::string& work, const Environment& environment) {
  const Pipes pipes = start({home, work}, environment);
  close(pipes.input);
  WorkerRun run;
  for (std::string line; readLine(pipes.output, line);) run.lines.push_back(line);
  std::fclose(pipes.output);
  waitpid(pipes.process, &run.status, 0);
  return run;
}

struct Checker::Process : Pipes {};

Checker::Checker() : process_(new Process{start({"checks"}, {})}) {}

Checker::~Checker() {
  close(process_->input);
  std::fclose(process_->output);
  waitpid(process_->process, nullptr, 0);
}

WorkerRun Checker::check(const std::string& home) {
  const std::string order = home + "\n";
  EXPECT_EQ(write(process_->input, order.data(), order.size()), static_cast<ssize_t>(order.size()));
  WorkerRun run;
  for (std::string line; readLine(process_->output, line);) {
    if (line.starts_with("end ")) {
      run.status = std::stoi(line.substr(4));
      return run;
    }
    run.lines.push_back(line);
  }
  ADD_FAILURE() << "the checker ended";
  run.status = -1;
  return run;
}

PreparedHome::PreparedHome() {
  std::filesystem::create_directories(path());
  EXPECT_EQ(runWorker(path(), "prepare").status, 0);
}

void PreparedHome::copyTo(const std::string& home) const {
  std::filesystem::remove_all(home);
  std::filesystem::copy(path(), home, std::filesystem::copy_options::recursive);
}

std::string problemWith(const std::vector<std::string>& before, const std::vector<std::string>& run,
                        const WorkerRun& after, bool mayBeMissing) {
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
    return std::any_of(run.begin(), run.end(), [&](const std::string& line) {
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
