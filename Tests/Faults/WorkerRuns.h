#pragma once

// Runs of the worker in homes of its own, and what must hold after them.

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Tests/Support/TestHome.h"

namespace zn::test {

/// What a worker said, line by line, and how it ended.
struct WorkerRun {
  std::vector<std::string> lines;
  int status = 0;  ///< as waitpid gives it

  bool hung() const;
  bool saidAnything() const;
};

using Environment = std::map<std::string, std::string>;

/// `fault_worker HOME WORK`, to its end.
WorkerRun runWorker(const std::string& home, const std::string& work, const Environment& environment = {});

/// Tells what homes hold after a clean start, each looked at by a process of its own.
class Checker {
 public:
  Checker();
  ~Checker();
  WorkerRun check(const std::string& home);

 private:
  struct Process;
  const std::unique_ptr<Process> process_;
};

/// A home where things are stored before the work begins.
class PreparedHome {
 public:
  PreparedHome();
  std::string path() const { return folder_ / "home"; }
  void copyTo(const std::string& home) const;

 private:
  MemoryFolder folder_;
};

/// Whether ZN_FAULTS=all is in the environment: then nothing is left out.
bool triesAll();

/// What is wrong with what a home holds after a run, or "": everything that was there before, and all that the run said
/// to be stored, is there once. `mayBeMissing`: what the run did and did not call stored may be missing, since it gave
/// notice, or since power was cut before.
std::string problemWith(const std::vector<std::string>& before, const std::vector<std::string>& run,
                        const WorkerRun& after, bool mayBeMissing);

}  // namespace zn::test
