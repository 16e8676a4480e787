#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Apps/Push/Message.h"

namespace zinpush {

struct Options {
  std::string payload;  ///< a file; "-": standard input
  bool lines = false;   ///< a payload a line of standard input instead
  std::string to;       ///< a file or a token
  std::string via;      ///< address of a zinserver
  std::string device;   ///< its id there
  bool all = false;
  std::string keyFile;  ///< "": the usual one
  std::string contact;
  bool printKey = false;
  bool strict = false;
  std::vector<std::string> linkSchemes;
  int repeat = 1;
  push::Message message;  ///< how; its text is not set
};

/// Nothing where the program shall go on, otherwise its exit status.
std::optional<int> readOptions(int count, char** arguments, Options& options);

}  // namespace zinpush
