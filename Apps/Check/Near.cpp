#include "Apps/Check/Near.h"

#include <algorithm>
#include <array>

#include "ZNPlatform/Foundation/TextEncoding.h"

namespace apps::check {

namespace {

constexpr std::size_t kLongest = 64;  // no key of ours is nearly as long

/// Edits that make one word of the other, a swap of neighbours counted as one.
std::size_t distance(std::string_view a, std::string_view b) {
  std::array<std::array<std::size_t, kLongest + 1>, 3> rows;
  for (std::size_t j = 0; j <= b.size(); ++j) rows[0][j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    const auto& last = rows[(i - 1) % 3];
    auto& row = rows[i % 3];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      const bool isSwap = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (isSwap) row[j] = std::min(row[j], rows[(i - 2) % 3][j - 2] + 1);
    }
  }
  return rows[a.size() % 3][b.size()];
}

}  // namespace

std::string plainWord(std::string_view word) {
  std::string plain;
  for (const char c : word) {
    if (c != '_' && c != '-' && c != ' ' && c != '.') plain += zn::asciiLower(c);
  }
  return plain;
}

bool isNear(std::string_view word, std::string_view meant) {
  if (word == meant) return true;
  constexpr std::size_t kShort = 5;
  constexpr std::size_t kLong = 9;
  const std::size_t shorter = std::min(word.size(), meant.size());
  const std::size_t longer = std::max(word.size(), meant.size());
  const std::size_t allowed = shorter >= kLong ? 2 : shorter >= kShort ? 1 : 0;
  return allowed > 0 && longer <= kLongest && longer - shorter <= allowed && distance(word, meant) <= allowed;
}

}  // namespace apps::check
