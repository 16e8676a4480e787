#pragma once

#include <optional>
#include <string>

namespace zinsim {

/// Reads a file, or standard input, line by line. A signal that asks the process to end (interrupt, hang-up, terminate)
/// ends the input instead, so that everything is put away first; the second one ends the process as usual.
class LineReader {
 public:
  /// "-" is standard input. Throws UsageError when the file cannot be opened.
  explicit LineReader(const std::string& path);
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  /// The next line without its line feed, or nothing at the end. Throws UsageError when it cannot be read.
  std::optional<std::string> next();
  /// The signal that ended the input; 0 for none.
  static int endedBySignal();

 private:
  bool readMore();

  std::string name_;
  int descriptor_ = 0;
  std::string pending_;
  std::size_t start_ = 0;  // of what was not handed out yet
  bool isAtEnd_ = false;
};

}  // namespace zinsim
