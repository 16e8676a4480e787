#pragma once

#include <set>
#include <string>
#include <vector>

namespace zinsim {

struct Options {
  bool help = false;
  std::string home;            ///< "": a temporary one
  std::set<std::string> only;  ///< empty: every kind
  std::string file;            ///< "": standard input
};

/// Throws UsageError for options that cannot be used.
Options parsedOptions(const std::vector<std::string>& arguments);

std::string helpText();

}  // namespace zinsim
