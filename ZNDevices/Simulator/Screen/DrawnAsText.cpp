#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "ZNDevices/Simulator/InboxScreen.h"
#include "ZNPlatform/Foundation/Unicode.h"
#include "ZNPlatform/UIKit/UILabel.h"
#include "ZNPlatform/UIKit/UITableView.h"

namespace zn {

namespace {

using Lines = std::vector<std::string>;
constexpr std::size_t kGap = 2;     // columns between the parts of a line
constexpr std::size_t kMargin = 3;  // columns before and after a row
constexpr std::size_t kNarrowest = 20;
constexpr std::size_t kShares = std::string::npos;  // the width of a part that shares the rest of a line

std::size_t columnsOf(std::string_view text) {
  std::size_t columns = 0;
  for (std::size_t place = 0; place < text.size(); ++columns) place += utf8StepAt(text, place).size;
  return columns;
}

/// Bytes of the first characters of a text.
std::size_t bytesOf(std::string_view text, std::size_t columns) {
  std::size_t place = 0;
  while (columns-- > 0 && place < text.size()) place += utf8StepAt(text, place).size;
  return place;
}

/// A text in lines of that width, broken at blanks where there are any; control characters count as blanks.
Lines wrapped(std::string text, std::size_t width) {
  std::replace_if(
      text.begin(), text.end(), [](char each) { return static_cast<unsigned char>(each) < ' '; }, ' ');
  Lines lines;
  std::string_view rest = text;
  while (columnsOf(rest) > width) {
    std::size_t end = bytesOf(rest, width);
    const std::size_t blank = rest.substr(0, end + 1).rfind(' ');
    if (blank != std::string_view::npos && blank > 0) end = blank;
    lines.emplace_back(rest.substr(0, end));
    rest.remove_prefix(end);
    rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
  }
  lines.emplace_back(rest);
  return lines;
}

std::string aligned(std::string_view text, std::size_t width, NSTextAlignment alignment) {
  const std::size_t spare = width - std::min(width, columnsOf(text));
  const std::size_t left = alignment == NSTextAlignment::left     ? 0
                           : alignment == NSTextAlignment::center ? spare / 2
                                                                  : spare;
  return std::string(left, ' ') + std::string(text) + std::string(spare - left, ' ');
}

std::string textOf(const UILabel& label) { return std::string(label.text().string()); }

Lines drawn(const UIView& view, std::size_t width);

Lines drawnLabel(const UILabel& label, std::size_t width) {
  Lines lines = wrapped(textOf(label), width);
  const auto most = static_cast<std::size_t>(std::max(label.numberOfLines(), 0));
  if (most > 0 && lines.size() > most) {
    lines.resize(most);
    lines.back() = lines.back().substr(0, bytesOf(lines.back(), width - 1)) + "…";
  }
  for (std::string& line : lines) line = aligned(line, width, label.textAlignment());
  return lines;
}

/// Parts that hug their content get what they need, the others share the rest.
std::vector<std::size_t> widthsIn(const UIStackView& stack, std::size_t width) {
  std::vector<std::size_t> widths;
  std::size_t taken = kGap * (std::max<std::size_t>(stack.subviews().size(), 1) - 1);
  std::size_t sharing = 0;
  for (const auto& part : stack.subviews()) {
    const auto* label = dynamic_cast<const UILabel*>(part.get());
    const bool hugs = label && label->hugsContent();
    widths.push_back(hugs ? columnsOf(textOf(*label)) : kShares);
    taken += hugs ? widths.back() : 0;
    sharing += hugs ? 0 : 1;
  }
  const std::size_t share = sharing > 0 && width > taken ? (width - taken) / sharing : 1;
  std::replace(widths.begin(), widths.end(), kShares, share);
  return widths;
}

Lines drawnRow(const UIStackView& stack, std::size_t width) {
  const auto widths = widthsIn(stack, width);
  Lines lines;
  std::size_t left = 0;
  for (std::size_t index = 0; index < widths.size(); ++index) {
    if (widths[index] == 0) continue;
    const Lines part = drawn(*stack.subviews()[index], widths[index]);
    lines.resize(std::max(lines.size(), part.size()));
    for (std::size_t line = 0; line < part.size(); ++line) {
      lines[line] = aligned(lines[line], left, NSTextAlignment::left) + part[line];
    }
    left += widths[index] + kGap;
  }
  return lines;
}

Lines drawn(const UIView& view, std::size_t width) {
  if (const auto* label = dynamic_cast<const UILabel*>(&view)) return drawnLabel(*label, width);
  const auto* stack = dynamic_cast<const UIStackView*>(&view);
  if (stack && stack->axis() == UILayoutConstraintAxis::horizontal) return drawnRow(*stack, width);
  Lines lines;
  for (const auto& part : view.subviews()) {
    const Lines more = drawn(*part, width);
    lines.insert(lines.end(), more.begin(), more.end());
  }
  return lines;
}

bool hasBoldText(const UIView& view) {
  const auto* label = dynamic_cast<const UILabel*>(&view);
  if (label && label->font() && label->font()->name.ends_with("-Bold")) return true;
  return std::any_of(view.subviews().begin(), view.subviews().end(),
                     [](const auto& each) { return hasBoldText(*each); });
}

void appendTable(Lines& lines, UITableView& table, std::size_t columns, long rows) {
  const long count = table.numberOfRows();
  for (const auto& cell : table.showRows(0, rows)) {
    Lines row = cell ? drawn(*cell, columns - 2 * kMargin) : Lines{""};
    const bool isBold = cell && hasBoldText(*cell);
    for (std::size_t line = 0; line < row.size(); ++line) {
      lines.push_back((line == 0 && isBold ? " • " : "   ") + row[line]);
    }
    lines.emplace_back();
  }
  if (count > rows) lines.push_back("   … and " + std::to_string(count - rows) + " more");
}

}  // namespace

std::string drawnAsText(UIViewController& screen, std::size_t columns, long rows) {
  columns = std::max(columns, kNarrowest);
  Lines lines{aligned(screen.title().string(), columns, NSTextAlignment::center), ""};
  const auto view = screen.view();
  for (const auto& part : view->subviews()) {
    if (const auto table = std::dynamic_pointer_cast<UITableView>(part)) {
      appendTable(lines, *table, columns, rows);
    } else {
      for (std::string& line : drawn(*part, columns)) lines.push_back(std::move(line));
    }
  }
  while (lines.size() > 1 && lines.back().find_first_not_of(' ') == std::string::npos) lines.pop_back();
  std::string text;
  for (const std::string& line : lines) text += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  return text;
}

}  // namespace zn
