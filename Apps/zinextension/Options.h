#pragma once

#include <optional>
#include <string>
#include <utility>

namespace zinextension {

struct Options {
  std::string home;
  std::string group;
  std::string application;
  std::pair<std::string, std::string> cardClick;  ///< campaign and card, or empty
  std::string file = "-";
};

/// Nothing where the program shall go on, otherwise its exit status.
std::optional<int> readOptions(int count, char** arguments, Options& options);

}  // namespace zinextension
