#pragma once

#include <cstdio>
#include <string>

#include "ZNPlatform/Foundation/Unicode.h"

namespace zinserver {

/// A line on standard error. Thread: any.
inline void log(const std::string& text) { std::fputs(("zinserver: " + zn::singleLine(text) + "\n").c_str(), stderr); }

}  // namespace zinserver
