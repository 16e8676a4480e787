#pragma once

#include <string>
#include <string_view>

#include "ZNPlatform/Export.h"

namespace zn {

/// A text as it may stand in a line of a log: control characters and line separators, with which foreign text could
/// forge a line or steer a terminal, become escapes (`\n`, `\t`, `\x1b`, `\u2028`), and so do bytes that are no UTF-8.
/// Everything else, a backslash included, stays as it is.
ZN_EXPORT std::string singleLine(std::string_view text);

}  // namespace zn
