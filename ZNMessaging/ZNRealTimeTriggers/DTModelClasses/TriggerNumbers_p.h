#pragma once

#include <cstdint>
#include <limits>

#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// A time, delay or count; what has no number in it counts as none, so that one odd value does not stop the decision
/// about all others.
inline bool holdsNumber(const Value& value) { return value.isNumber() || value.isString(); }
inline Value numberOrNil(const Value& value) { return holdsNumber(value) ? value : nil; }

inline std::int64_t timeIn(const Value& value) { return numberOrNil(value).longLongValue(); }
/// Without a number in it, too.
inline bool isOver(const Value& expiry, std::int64_t now) { return timeIn(expiry) < now; }

/// A sum that stops at the largest and smallest numbers: delays come from servers.
inline std::int64_t boundedSum(std::int64_t a, std::int64_t b) {
  std::int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return a < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
}

}  // namespace zn
