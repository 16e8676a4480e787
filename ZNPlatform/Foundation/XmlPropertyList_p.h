#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// Reads a property list in XML strictly: what is no property list to the letter is an error, which names line and
/// column, and never another value. UTF-8, UTF-16, ISO-8859-1, US-ASCII and windows-1252; no entities but XML's own
/// five. At most 64 MB.
std::optional<Value> parseXmlPropertyList(std::span<const std::uint8_t> bytes, std::string& error);

}  // namespace zn
