#pragma once

#include <memory>
#include <string>

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

}  // namespace zn
