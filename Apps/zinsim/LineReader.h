#pragma once

#include <optional>
#include <string>

#include "ZNPlatform/Foundation/Descriptor_p.h"

namespace zinsim {

/// Reads a file, or standard input, line by line. A signal that asks the process to end (interrupt, hang-up, terminate)
/// ends the input instead, so that everything is put away first; the second one ends the process as usual.
class LineReader {
 public:
  /// "-" is standard input. Throws UsageError when the file cannot be opened.
  explicit LineReader(const std::string& path);

  /// The next line without its line feed, or nothing at the end. Throws UsageError when it cannot be read.
  std::optional<std::string> next();
  /// The signal that ended the input; 0 for none.
  static int endedBySignal();

 private:
  int input() const { return file_ ? file_.get() : 0; }
  bool readMore();

  std::string name_;
  zn::Descriptor file_;  // none for standard input
  std::string pending_;
  std::size_t start_ = 0;  // of what was not handed out yet
  bool isAtEnd_ = false;
};

}  // namespace zinsim
