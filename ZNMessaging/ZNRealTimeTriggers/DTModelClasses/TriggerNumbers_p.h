#pragma once

// Numbers of device triggers as servers and files give them.

#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// A time, delay or count; what has no number in it counts as none, so that one odd value does not stop the decision
/// about all others.
inline Value numberOrNil(const Value& value) { return value.isNumber() || value.isString() ? value : nil; }

}  // namespace zn
