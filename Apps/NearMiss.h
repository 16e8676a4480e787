#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace apps {

/// The word without what people write in different ways: small letters, no blanks, dots, '-' and '_'.
std::string plainWord(std::string_view word);

/// Which of the known words a misspelt one probably stands for; empty where none is near. Of the letters of the plain
/// words, one in three may be wrong, missing, too many, or swapped with its neighbour.
std::string_view nearestWord(std::string_view word, const std::vector<std::string_view>& known);

/// Whether one plain word is the other one but for a slip of the keyboard: for words that may stand for themselves, as
/// one letter may differ only, two in long words; in short ones two may be swapped or one be too many or missing, and
/// in the shortest none.
bool isSlip(std::string_view plain, std::string_view meant);

/// For the end of a complaint about a misspelt word: ` (did you mean "tap"?)`, or nothing where none is near.
std::string didYouMean(std::string_view word, const std::vector<std::string_view>& known);

}  // namespace apps
