#pragma once

#include <optional>
#include <set>
#include <string>

namespace zinsim {

struct Options {
  std::string home;            ///< "": a temporary one
  std::set<std::string> only;  ///< empty: every kind
  std::string file = "-";      ///< "-": standard input
};

/// Nothing where the program shall go on, otherwise its exit status.
std::optional<int> readOptions(int count, char** arguments, Options& options);

}  // namespace zinsim
