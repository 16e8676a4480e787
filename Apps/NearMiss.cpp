#include "Apps/NearMiss.h"

#include <algorithm>
#include <cctype>

namespace apps {

namespace {

std::string letters(std::string_view word) {
  std::string kept;
  for (const char each : word) {
    if (each != '_' && each != '-') kept += static_cast<char>(std::tolower(static_cast<unsigned char>(each)));
  }
  return kept;
}

/// How many single steps lead from one to the other: a letter more, less, or another, or two neighbours swapped.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::vector<std::size_t>> steps(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  for (std::size_t i = 0; i <= a.size(); ++i) {
    for (std::size_t j = 0; j <= b.size(); ++j) {
      std::size_t& least = steps[i][j];
      if (i == 0 || j == 0) {
        least = i + j;
        continue;
      }
      least = std::min({steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + (a[i - 1] != b[j - 1])});
      const bool areSwapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (areSwapped) least = std::min(least, steps[i - 2][j - 2] + 1);
    }
  }
  return steps[a.size()][b.size()];
}

}  // namespace

std::string_view nearestWord(std::string_view word, const std::vector<std::string_view>& known) {
  constexpr std::size_t longest = 64;  // nobody misspells more
  if (word.size() > longest) return {};
  const std::string meant = letters(word);
  std::string_view nearest;
  std::size_t least = std::max<std::size_t>(1, meant.size() / 3) + 1;
  for (const std::string_view each : known) {
    const std::size_t away = distance(meant, letters(each));
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
