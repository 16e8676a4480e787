#pragma once

#include "ZNPlatform/Export.h"

namespace zn {

/// How long an entry without an expiry of its own stays, in seconds: as configured, or 30 days.
ZN_EXPORT double defaultInboxExpiryPeriod();

}  // namespace zn
