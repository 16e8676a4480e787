#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace apps {

/// Which of the known words a misspelt one probably stands for; empty where none is near. Case, '_' and '-' make no
/// difference; of the letters, one in three may be wrong, missing, too many, or swapped with its neighbour.
std::string_view nearestWord(std::string_view word, const std::vector<std::string_view>& known);

/// For the end of a complaint about a misspelt word: ` (did you mean "tap"?)`, or nothing where none is near.
std::string didYouMean(std::string_view word, const std::vector<std::string_view>& known);

}  // namespace apps
