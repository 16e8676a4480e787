#include "Apps/NearMiss.h"

#include <algorithm>
#include <array>

#include "ZNPlatform/Foundation/TextEncoding.h"

namespace apps {

namespace {

constexpr std::size_t kLongest = 64;  // nobody misspells more

/// How many single steps lead from one to the other: a letter more, less, or another, or two neighbours swapped. Of
/// words that are not too long.
std::size_t distance(std::string_view a, std::string_view b) {
  std::array<std::array<std::size_t, kLongest + 1>, 3> rows{};  // the last three
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      std::size_t& least = rows[i % 3][j];
      if (i == 0 || j == 0) {
        least = i + j;
        continue;
      }
      const auto& last = rows[(i - 1) % 3];
      least = std::min({last[j] + 1, rows[i % 3][j - 1] + 1, last[j - 1] + (a[i - 1] != b[j - 1])});
      const bool areSwapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (areSwapped) least = std::min(least, rows[(i - 2) % 3][j - 2] + 1);
    }
  }
  return rows[a.size() % 3][b.size()];
}

}  // namespace

std::string plainWord(std::string_view word) {
  std::string plain;
  for (const char each : word) {
    if (each != '_' && each != '-' && each != ' ' && each != '.') plain += zn::asciiLower(each);
  }
  return plain;
}

bool isSlip(std::string_view plain, std::string_view meant) {
  if (plain == meant) return true;
  constexpr std::size_t kShort = 4;
  constexpr std::size_t kLong = 9;
  const auto [shorter, longer] = std::minmax({plain.size(), meant.size()});  // copies
  // Of four letters one other makes another word, such as "date" and "data".
  const bool isAnotherWord =
      longer == kShort && !std::is_permutation(plain.begin(), plain.end(), meant.begin(), meant.end());
  const std::size_t allowed = shorter >= kLong ? 2 : shorter >= kShort && !isAnotherWord ? 1 : 0;
  return allowed > 0 && longer <= kLongest && longer - shorter <= allowed && distance(plain, meant) <= allowed;
}

std::string_view nearestWord(std::string_view word, const std::vector<std::string_view>& known) {
  if (word.size() > kLongest) return {};
  const std::string meant = plainWord(word);
  std::string_view nearest;
  std::size_t least = std::max<std::size_t>(1, meant.size() / 3) + 1;
  for (const std::string_view each : known) {
    const std::size_t away = distance(meant, plainWord(each));
    if (away < least && away < meant.size()) {
      least = away;
      nearest = each;
    }
  }
  return nearest;
}

std::string didYouMean(std::string_view word, const std::vector<std::string_view>& known) {
  const std::string_view nearest = nearestWord(word, known);
  return nearest.empty() ? "" : " (did you mean \"" + std::string(nearest) + "\"?)";
}

}  // namespace apps
