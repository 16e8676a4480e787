#pragma once

// The texts of a file in which a list grows. Not installed API.

#include <optional>
#include <string>

#include "Platform/Foundation/AppendableFile.h"

namespace zn {

/// What follows the last element of that list, to the end of the file.
std::string endAfter(const ListPath& list);

/// An element as it stands in the list; nothing where XML cannot hold it, or where it would nest too deep there. Throws
/// Exception for what no property list can hold.
std::optional<std::string> elementText(const ListPath& list, const Value& element);

}  // namespace zn
