#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// Reads a property list: binary ("bplist00") or XML. Counts, offsets and nesting are checked against the bytes that
/// are there, so no input can crash the reader or make it allocate more than a small multiple of its size. Deeper
/// nesting than `Value::maximumReadDepth` is an error, and so are cycles and shared containers that would unfold to
/// more than 64 MB and 16 times the file. Archive references (UIDs) outside an archive read as nil and are left out.
///
/// XML is at most 64 MB in UTF-8, UTF-16, ISO-8859-1, US-ASCII or windows-1252, and is read strictly: an element,
/// attribute or entity that property lists do not have, and a number, date or data of another form, are errors. An
/// integer is decimal or hexadecimal ("0x"), and beyond 64 bits becomes a real; a date is "2024-01-31T23:59:59Z".
///
/// Never throws; on failure the result is empty and `error`, if given, says what is wrong and where: at which byte, or
/// in XML at which line and column.
ZN_EXPORT std::optional<Value> parsePropertyList(std::span<const std::uint8_t> bytes, std::string* error = nullptr);

/// Writes a binary property list that Foundation and Python's plistlib read; equal strings are stored once. null has no
/// place in a property list and is left out. Throws Exception where the value nests deeper than readers read.
ZN_EXPORT Data binaryPropertyList(const Value& value);

/// Reads a property-list file whose root is a dictionary. nil when there is no file or it cannot be read.
ZN_EXPORT Value dictionaryWithContentsOfFile(const std::string& path);

}  // namespace zn
