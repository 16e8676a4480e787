#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zinstory {

/// Lays the story out on standard output: headings, paragraphs, and steps with what happened in each, in columns. No
/// line is longer than 98 characters.
class Page {
 public:
  explicit Page(bool withColours) : withColours_(withColours) {}

  void heading(const std::string& text);
  void paragraph(const std::string& text);
  void blankLine();

  /// A step of the story; what happens in it follows with `effect`.
  void beginStep(const std::string& time, const std::string& name);
  void effect(const std::string& kind, const std::string& text);
  void endStep();  ///< says so when nothing happened

  /// A line of a table: cells of those widths, the last one takes the rest of the line. Longer ones are cut.
  void row(const std::vector<std::size_t>& widths, const std::vector<std::string>& cells);

 private:
  std::string styled(const char* style, const std::string& text) const;

  const bool withColours_;
  std::string pendingStep_;  // stands before the step's first effect
};

/// The text on one line: control characters become blanks.
std::string oneLine(std::string_view text);
/// At most `width` characters of it, with an ellipsis where something was cut.
std::string shortened(std::string_view text, std::size_t width);

}  // namespace zinstory
