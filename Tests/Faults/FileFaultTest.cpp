#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "Tests/Faults/WorkerRuns.h"

namespace {

using zn::test::Checker;
using zn::test::MemoryFolder;
using zn::test::PreparedHome;
using zn::test::WorkerRun;

struct Operation {
  long number = 0;
  std::string kind;
  unsigned ways = 0;
  std::string path;
};

struct Fault {
  Operation operation;
  const char* name;
  std::string setting;
};

constexpr struct {
  int error;
  unsigned way;  // as file_operations.cpp has them
  const char* name;
} kErrors[] = {{EIO, 1, "EIO"},      {ENOSPC, 2, "ENOSPC"}, {EMFILE, 4, "EMFILE"}, {EACCES, 8, "EACCES"},
               {EROFS, 16, "EROFS"}, {EINTR, 32, "EINTR"},  {0, 64, "short write"}};

std::vector<Operation> operationsIn(const std::string& trace) {
  std::vector<Operation> operations;
  std::ifstream file(trace);
  for (std::string line; std::getline(file, line);) {
    std::istringstream fields(line);
    std::string word;
    Operation each;
    if (std::getline(fields, word, '\t') && word == "operation" &&
        fields >> each.number >> each.kind >> each.ways >> each.path)
      operations.push_back(each);
  }
  return operations;
}

std::vector<Fault> faultsIn(const std::vector<Operation>& operations) {
  std::vector<Fault> faults;
  for (const Operation& each : operations) {
    for (const auto& error : kErrors) {
      if (!(each.ways & error.way)) continue;
      const std::string setting = std::to_string(each.number) + ":" + std::to_string(error.error);
      faults.push_back({each, error.name, setting + ":once"});
      // An interruption that never ends is none that a machine makes.
      if (error.error != EINTR) faults.push_back({each, error.name, setting + ":on"});
    }
  }
  return faults;
}

class FileFaults : public ::testing::TestWithParam<const char*> {};

/// Every file operation of a work fails in each way that it can, once and from then on: nothing that was acknowledged
/// is lost or there twice after a clean start, and what could not be stored was said. A sample of them, unless
/// ZN_FAULTS=all is in the environment.
TEST_P(FileFaults, LoseNothingAndAreSaid) {
  constexpr std::size_t kSample = 40;
  const std::string work = GetParam();
  const PreparedHome prepared;
  const MemoryFolder folder;
  const std::string home = folder / "home";
  const std::string trace = folder / "trace";
  Checker checker;

  prepared.copyTo(home);
  const std::vector<std::string> before = checker.check(home).lines;
  ASSERT_GE(before.size(), 8u);
  prepared.copyTo(home);
  const WorkerRun clean = zn::test::runWorker(home, work, {{"ZN_FILES_HOME", home}, {"ZN_FILES_TRACE", trace}});
  ASSERT_EQ(clean.status, 0);
  ASSERT_FALSE(clean.saidAnything());
  ASSERT_EQ(zn::test::problemWith(before, clean.lines, checker.check(home), false), "");

  const std::vector<Fault> faults = faultsIn(operationsIn(trace));
  const std::size_t step = zn::test::triesAll() ? 1 : faults.size() / kSample + 1;
  std::size_t runs = 0;
  for (std::size_t i = 0; i < faults.size(); i += step, ++runs) {
    const Fault& fault = faults[i];
    prepared.copyTo(home);
    const WorkerRun run = zn::test::runWorker(home, work, {{"ZN_FILES_HOME", home}, {"ZN_FILES_FAULT", fault.setting}});
    const std::string what =
        std::string(fault.name) + " (" + fault.setting + ") in " + fault.operation.kind + " of " + fault.operation.path;
    ASSERT_FALSE(run.hung()) << what;
    EXPECT_TRUE(WIFEXITED(run.status)) << what << ": ended by signal " << WTERMSIG(run.status);
    const std::string problem = zn::test::problemWith(before, run.lines, checker.check(home), run.saidAnything());
    EXPECT_EQ(problem, "") << what << "\n" << ::testing::PrintToString(run.lines);
  }
  std::cout << work << ": " << runs << " of " << faults.size() << " faults" << std::endl;
}

INSTANTIATE_TEST_SUITE_P(Works, FileFaults,
                         ::testing::Values("click", "drain", "clickInSync", "triggers", "append", "flush"),
                         [](const auto& each) { return each.param; });

}  // namespace
