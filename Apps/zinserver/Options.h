#pragma once

#include <string>
#include <vector>

namespace zinserver {

struct Options {
  bool help = false;
  std::string folder;
  std::string host = "127.0.0.1";
  int port = 8088;  ///< 0: one that is free
};

/// Throws zn::Exception for options that cannot be used.
Options parsedOptions(const std::vector<std::string>& arguments);

std::string helpText();

}  // namespace zinserver
