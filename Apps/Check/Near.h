#pragma once

#include <string>
#include <string_view>

namespace apps::check {

/// The word without what authors write in different ways: small letters, no blanks, dashes and underscores.
std::string plainWord(std::string_view word);

/// Whether one plain word is the other one but for a slip of the keyboard: one letter too many, too few, wrong or in
/// the wrong place, two in long words.
bool isNear(std::string_view word, std::string_view meant);

}  // namespace apps::check
