#pragma once

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// Keys of the dictionary that is handed on with a tracked event: the analytics module's own attributes, and the
/// event's.
inline constexpr const char* kEventAttributes = "EVENT_ATTRS";
inline constexpr const char* kCustomEventAttributes = "EVENT_ATTRS_CUST";

/// That dictionary for an event with these attributes (a dictionary; nil counts as none).
ZN_EXPORT Value trackedDictionary(const Value& attributes);

}  // namespace zn
