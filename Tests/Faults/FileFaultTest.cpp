#include <cerrno>
#include <cstring>

#include "Tests/Faults/WorkerRuns.h"

namespace {

using zn::test::WorkerRun;

struct Fault {
  std::string setting;  ///< as ZN_FILES_FAULT has it
  std::string what;
};

/// Each operation fails in each way that it can, once and from then on.
std::vector<Fault> faultsIn(const std::string& trace) {
  std::vector<Fault> faults;
  std::ifstream file(trace);
  for (std::string line; std::getline(file, line);) {
    std::istringstream fields(line);
    std::string word, number, kind, path;
    if (!(fields >> word >> number >> kind >> path) || word != "operation") continue;
    for (int error; fields >> error;) {
      const std::string setting = number + ":" + std::to_string(error);
      const std::string what =
          (error ? std::strerror(error) : "short") + (" (" + setting) + ") in " + kind + " of " + path;
      faults.push_back({setting + ":once", what});
      // An interruption that never ends is none that a machine makes.
      if (error != EINTR) faults.push_back({setting + ":on", what + ", and ever after"});
    }
  }
  return faults;
}

class FileFaults : public zn::test::Works {};

/// Every file operation of a work fails: nothing that was acknowledged is lost or there twice after a clean start, and
/// what could not be stored was said.
TEST_P(FileFaults, LoseNothingAndAreSaid) {
  constexpr std::size_t kSample = 40;
  const WorkerRun clean = runPrepared("ZN_FILES_TRACE='" + trace + "'");
  ASSERT_EQ(clean.status, 0);
  ASSERT_FALSE(clean.saidAnything());
  ASSERT_EQ(zn::test::problemWith(before, clean.lines, run("check"), false), "");

  const std::vector<Fault> faults = faultsIn(trace);
  std::size_t runs = 0;
  for (std::size_t i = 0; i < faults.size(); i += stepOf(faults.size() / kSample + 1), ++runs) {
    const auto& [setting, what] = faults[i];
    const WorkerRun faulty = runPrepared("ZN_FILES_FAULT=" + setting);
    ASSERT_FALSE(faulty.hung()) << what;
    EXPECT_TRUE(WIFEXITED(faulty.status)) << what << ": ended by signal " << WTERMSIG(faulty.status);
    const std::string problem = zn::test::problemWith(before, faulty.lines, run("check"), faulty.saidAnything());
    EXPECT_EQ(problem, "") << what << "\n" << ::testing::PrintToString(faulty.lines);
  }
  std::cout << GetParam() << ": " << runs << " of " << faults.size() << " faults" << std::endl;
  EXPECT_GT(runs, 20u);
}

INSTANTIATE_TEST_SUITE_P(Works, FileFaults,
                         ::testing::Values("click", "drain", "clickInSync", "triggers", "append", "flush"),
                         [](const auto& each) { return each.param; });

}  // namespace
