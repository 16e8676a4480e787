#include "Apps/zinstory/Page.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "ZNPlatform/Foundation/Unicode.h"

namespace zinstory {

namespace {

constexpr std::size_t kLineWidth = 98;
constexpr std::size_t kIndent = 3;
constexpr std::size_t kStepWidth = 36;
constexpr std::size_t kKindWidth = 11;
constexpr const char* kBold = "\033[1m";
constexpr const char* kDim = "\033[2m";

bool continuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// Characters of valid UTF-8.
std::size_t widthOf(std::string_view text) {
  return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), continuesCharacter));
}

std::string padded(std::string text, std::size_t width) {
  const std::size_t present = widthOf(text);
  if (present < width) text.append(width - present, ' ');
  return text;
}

/// Bytes of the first `width` characters.
std::size_t bytesOf(std::string_view text, std::size_t width) {
  std::size_t end = 0;
  for (; end < text.size(); ++end) {
    if (!continuesCharacter(text[end]) && width-- == 0) break;
  }
  return end;
}

/// Lines of at most `width` characters, broken at blanks, or within words that are too long for a line.
std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
  std::vector<std::string> lines;
  for (std::size_t most = 0; (most = bytesOf(text, width)) < text.size();) {
    const std::size_t blank = text.rfind(' ', most);
    const bool atBlank = blank != text.npos && blank > 0;
    lines.emplace_back(text.substr(0, atBlank ? blank : most));
    text.remove_prefix(atBlank ? blank + 1 : most);
  }
  lines.emplace_back(text);
  return lines;
}

void print(const std::string& line) { std::printf("%s\n", line.c_str()); }

}  // namespace

std::string oneLine(std::string_view text) {
  std::string line = zn::sanitizedUtf8(text);
  std::replace_if(
      line.begin(), line.end(), [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; }, ' ');
  return line;
}

std::string shortened(std::string_view text, std::size_t width) {
  std::string line = oneLine(text);
  if (widthOf(line) > width) line = line.substr(0, bytesOf(line, width - 1)) + "…";
  return line;
}

std::string Page::styled(const char* style, const std::string& text) const {
  return withColours_ ? style + text + "\033[0m" : text;
}

void Page::blankLine() { print(""); }

void Page::heading(const std::string& text) {
  blankLine();
  print(styled(kBold, shortened(text, kLineWidth)));
}

void Page::paragraph(const std::string& text) {
  for (const std::string& line : wrapped(oneLine(text), kLineWidth - kIndent)) {
    print(std::string(kIndent, ' ') + line);
  }
}

void Page::beginStep(const std::string& time, const std::string& name) {
  pendingStep_ = std::string(kIndent, ' ') + time + "  " + shortened(name, kStepWidth - kIndent - time.size() - 3);
}

void Page::effect(const std::string& kind, const std::string& text) {
  std::string label = padded(kind, kKindWidth);
  for (const std::string& line : wrapped(oneLine(text), kLineWidth - kStepWidth - kKindWidth)) {
    print(padded(std::exchange(pendingStep_, ""), kStepWidth) + styled(kDim, line.empty() ? kind : label) + line);
    label.assign(kKindWidth, ' ');
  }
}

void Page::endStep() {
  if (!pendingStep_.empty()) effect("(nothing)", "");
}

void Page::row(const std::vector<std::size_t>& widths, const std::vector<std::string>& cells) {
  std::string line(kIndent, ' ');
  std::size_t used = kIndent;
  for (std::size_t i = 0; i + 1 < cells.size(); ++i) {
    line += padded(shortened(cells[i], widths[i] - 1), widths[i]);
    used += widths[i];
  }
  print(line + shortened(cells.back(), kLineWidth - used));
}

}  // namespace zinstory
