#pragma once

#include <optional>
#include <set>
#include <string>

namespace zinsim {

struct Options {
  std::string home;            ///< "": a temporary one
  std::set<std::string> only;  ///< empty: every kind
  std::set<std::string> except;
  bool strict = false;
  std::string expect;  ///< "": what is printed is not compared
  bool update = false;
  std::string file = "-";  ///< "-": standard input

  bool shows(const std::string& kind) const { return (only.empty() || only.contains(kind)) && !except.contains(kind); }
};

/// Nothing where the program shall go on, otherwise its exit status.
std::optional<int> readOptions(int count, char** arguments, Options& options);

}  // namespace zinsim
