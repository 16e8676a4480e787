#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ZNPlatform/Foundation/AppendableFile_p.h"

namespace zn {

/// How such a file begins: with a name that no other file has, not even the one that takes its place. `isHead` tells it
/// from other texts of `headSize` bytes.
inline constexpr std::size_t headSize = 212;
bool isHead(std::string_view text);

/// What follows the last element of that list, to the end of the file.
std::string endAfter(const ListPath& list);

/// An element as it stands in the list; nothing where XML cannot hold it, or where it would nest too deep there. Throws
/// Exception for what no property list can hold.
std::optional<std::string> elementText(const ListPath& list, const Value& element);

}  // namespace zn
