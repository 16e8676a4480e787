#pragma once

#include <cstdint>

#include "ZNPlatform/Foundation/Value.h"

// What the description of a fault holds, as our servers take it. All throw zn::Exception, for people, where it cannot
// be used.
namespace apps {

[[noreturn]] void refuseField(const zn::Value& key, const char* expected, const zn::Value& value);
std::int64_t wholeNumber(const zn::Value& key, const char* expected, const zn::Value& value, std::int64_t lowest,
                         std::int64_t highest);
bool boolean(const zn::Value& key, const zn::Value& value);
/// Seconds.
double delay(const zn::Value& key, const zn::Value& value);

}  // namespace apps
