#pragma once

#include "ZNPlatform/Foundation/Value.h"

namespace zinsim {

/// The keyed archive of a record {"$class": name, coder key: value, ...}. A field is a value, a record or an array of
/// records; null is nil; containers are written as mutable ones, as the module's own records hold them. Throws
/// UsageError for anything else.
zn::Data archivedRecord(const zn::Value& description);

}  // namespace zinsim
