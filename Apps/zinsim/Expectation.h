#pragma once

#include <set>
#include <string>
#include <string_view>

namespace zinsim {

/// What a scenario must print: a file that holds it.
class Expectation {
 public:
  /// Throws UsageError where there is no such file or it cannot be read. One that `updates` may not be there yet.
  Expectation(std::string path, bool updates);

  /// Compares what was printed with the file, whose lines of the kinds in `except` count for nothing. Prints the
  /// difference, or writes the file if it updates. Returns the exit status.
  int check(std::string_view printed, const std::set<std::string>& except) const;

 private:
  int write(std::string_view printed) const;

  const std::string path_;
  const bool updates_;
  std::string expected_;
};

}  // namespace zinsim
