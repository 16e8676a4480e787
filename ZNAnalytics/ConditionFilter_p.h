#pragma once

#include <compare>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// What an attribute is compared with.
struct ConditionConstant {
  Value value;
  /// The time that a date, or a text in ISO 8601, stands for; any other compares with no date.
  double secondsSince1970 = std::numeric_limits<double>::quiet_NaN();
};

/// How an attribute stands to a constant: unordered where the two are of different types, or of one that does not
/// compare.
std::partial_ordering compare(const Value& attribute, const ConditionConstant& constant);

/// One filter: a combination of the filters that follow it, or a test of one attribute.
struct ConditionNode {
  enum class Kind : std::uint8_t {
    all,
    any,
    inverse,
    equals,
    notEquals,
    in,
    greater,
    less,
    atLeast,
    atMost,
    between,
    contains,
    startsWith,
    exists
  };
  Kind kind = Kind::all;
  std::uint32_t end = 0;  ///< the node after this one and all that it combines
  std::uint32_t firstConstant = 0;
  std::uint32_t constantCount = 0;
  std::string attribute;
};

/// A filter as it is evaluated: its nodes in reading order, the root first, and the constants of all its tests.
/// Immutable once made; evaluating it allocates nothing and recurses `maximumDepth` levels at most. Thread: any.
struct ConditionFilter {
  /// Levels of and, or and not around a test. Far beyond what people write, far below what a stack holds.
  static constexpr int maximumDepth = 64;

  std::vector<ConditionNode> nodes;
  std::vector<ConditionConstant> constants;

  bool isSatisfiedBy(const Value& trackedAttributes) const;
  /// The tests that decided that it is not, for people: each with its place and the value that it met; empty where it
  /// is satisfied. Of many the first few.
  std::string refusal(const Value& trackedAttributes) const;
};

}  // namespace zn
