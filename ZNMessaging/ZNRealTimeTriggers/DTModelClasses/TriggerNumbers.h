#pragma once

#include "Platform/Foundation/Value.h"

namespace zn {

/// A time, delay or count that came from a server or a file: what has no number in it counts as none, so that one odd
/// value does not stop the decision about all others.
inline Value numberOrNil(const Value& value) { return value.isNumber() || value.isString() ? value : nil; }

}  // namespace zn
