#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "ZNAnalytics/ConditionFilter_p.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// Why a condition cannot be understood: one line that begins with the place.
struct ConditionProblem {
  std::string text;
};

/// A condition's dictionary, read.
struct ParsedCondition {
  std::string eventName;
  std::unique_ptr<const ConditionFilter> filter;  ///< none where the condition has none
};

/// Throws ConditionProblem for the first part, in reading order, that cannot be understood. Thread: any.
ParsedCondition parseCondition(const Value& dictionary);

/// The word that a node of that kind is written with, such as "atLeast" or "and".
std::string_view conditionWord(ConditionNode::Kind kind);

/// A value as a message shows it: on one line, and no longer than a line should be.
std::string shownInCondition(const Value& value);

}  // namespace zn
