#pragma once

#include <string>
#include <string_view>

#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// A date printed by a pattern, as DateFormatter describes it. Empty for a date that is no finite number.
std::string dateByPattern(std::string_view pattern, Date date, bool inGMT);

}  // namespace zn
