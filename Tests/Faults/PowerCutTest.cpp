#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <set>

#include "Tests/Faults/PowerCuts.h"
#include "Tests/Faults/WorkerRuns.h"

namespace {

using zn::test::Checker;
using zn::test::FolderState;
using zn::test::MemoryFolder;
using zn::test::PowerCuts;
using zn::test::PreparedHome;

class PowerCut : public ::testing::TestWithParam<const char*> {};

/// A work is recorded, and the power fails after each of its operations: in every state that this may leave, the next
/// start finds all that was there before, and all that the application was told to be stored, once. A sample of the
/// states, unless ZN_FAULTS=all is in the environment.
TEST_P(PowerCut, LeavesWhatWasAcknowledged) {
  constexpr std::size_t kSample = 20;  // one of so many
  const PreparedHome prepared;
  const MemoryFolder folder;
  const std::string home = folder / "home";
  const std::string trace = folder / "trace";
  Checker checker;
  prepared.copyTo(home);
  const std::vector<std::string> before = checker.check(home).lines;
  prepared.copyTo(home);
  PowerCuts cuts(zn::test::readFolder(home));
  ASSERT_EQ(zn::test::runWorker(home, GetParam(), {{"ZN_FILES_HOME", home}, {"ZN_FILES_TRACE", trace}}).status, 0);

  const std::size_t step = zn::test::triesAll() ? 1 : kSample;
  std::size_t found = 0;
  std::size_t tried = 0;
  std::vector<std::string> acknowledged;
  std::set<FolderState> known;  // with what is acknowledged now
  std::ifstream lines(trace);
  std::string last;  // of the operations that were to come, for messages
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with("operation\t")) last = line;
    if (!cuts.add(line)) continue;
    if (line.starts_with("note\t")) {
      // An event is queued without waiting for the disk.
      if (!line.starts_with("note\ttracked ")) acknowledged.push_back(line.substr(5));
      known.clear();
    }
    for (const FolderState& state : cuts.states()) {
      if (!known.insert(state).second || found++ % step != 0) continue;
      ++tried;
      zn::test::writeFolder(state, home);
      const auto after = checker.check(home);
      const std::string problem = zn::test::problemWith(before, acknowledged, after, false);
      EXPECT_EQ(problem, "") << "after " << last << "\n" << ::testing::PrintToString(after.lines);
    }
  }
  std::cout << GetParam() << ": " << tried << " of " << found << " states" << std::endl;
  EXPECT_GT(found, 20u);
}

INSTANTIATE_TEST_SUITE_P(Works, PowerCut,
                         ::testing::Values("click", "drain", "clickInSync", "triggers", "append", "flush", "day"),
                         [](const auto& each) { return each.param; });

}  // namespace
