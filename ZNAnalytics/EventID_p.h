#pragma once

// By which a server knows an event that it gets a second time.

#include <string>
#include <string_view>

#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// RFC 9562, version 4. nil where the system has no random numbers.
Value newEventID();

/// The same for the same line (RFC 9562, version 8): of an event that was queued by a version that gave none.
std::string eventIDOf(std::string_view line);

}  // namespace zn
