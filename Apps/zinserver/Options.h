#pragma once

#include <optional>
#include <string>

namespace zinserver {

struct Options {
  std::string folder;
  std::string host = "127.0.0.1";
  int port = 8088;      ///< 0: one that is free
  std::string state;    ///< a folder; "": nothing is kept
  std::string contact;  ///< whom push servers' people may turn to; "": nobody
};

/// Nothing where the program shall go on, otherwise its exit status.
std::optional<int> readOptions(int count, char** arguments, Options& options);

}  // namespace zinserver
