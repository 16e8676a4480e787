#pragma once

#include <string_view>

#include "ZNPlatform/Export.h"

namespace zn {

/// The seconds since 1970 of a date or a time in ISO 8601, as RFC 3339 narrows it: "2024-03-01" (midnight UTC),
/// "2024-03-01T12:30Z", "2024-03-01T12:30:15.25+02:00". Not a number for any other text: one with a time but without a
/// zone would mean another moment on every device.
ZN_EXPORT double secondsOfIsoDate(std::string_view text) noexcept;

}  // namespace zn
