#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// A JSON text that cannot be read. `what()` names the place ("line 3, column 14: …") and says what is wrong there.
struct JsonError {
  std::string text;
  int line = 0;             ///< from 1
  int column = 0;           ///< from 1, in bytes
  bool isTooLarge = false;  ///< the text may be right, but reading it takes more memory than there is or is allowed
};

struct JsonReadOptions {
  bool allowComments = false;  ///< `//` and `/* */` count as blanks (configuration files)
  /// Bytes of heap that the value and its reader may take, the text itself left out. Small values are much larger than
  /// their text (a list of "1," takes 16 times its size), so whoever reads what others wrote sets a limit. What the
  /// reader takes for one string, up to three times its length, is known only when the string has ended.
  std::size_t maximumMemory = SIZE_MAX;
};

/// Reads one JSON text (RFC 8259, UTF-8). Integers beyond 64 bits become reals. Texts that nest deeper than
/// `Value::maximumReadDepth` are an error. Of equal keys in an object the last one wins. Half of an escaped surrogate
/// pair, as a server leaves of an emoji that it cut, is read as U+FFFD. Never throws; on failure the result is empty
/// and `error`, if given, is filled.
ZN_EXPORT std::optional<Value> parseJson(std::string_view text, JsonError* error = nullptr,
                                         JsonReadOptions options = {});

enum class JsonStyle {
  compact,  ///< no blanks
  spaced    ///< ", " and ": " as separators
};

/// Writes JSON: keys in ascending byte order, numbers as `numberText`, raw UTF-8 with U+FFFD for what is not UTF-8,
/// only `"`,
/// `\` and control characters escaped. A date is written {"$date": SECONDS}, data {"$data": "hex"}, nil as null.
ZN_EXPORT std::string jsonText(const Value& value, JsonStyle style = JsonStyle::compact);
ZN_EXPORT void appendJson(std::string& out, const Value& value, JsonStyle style = JsonStyle::compact);
ZN_EXPORT void appendJsonString(std::string& out, std::string_view text);

/// The other direction of `jsonText` for dates and data: dictionaries {"$date": number} and {"$data": "hex"} become the
/// date or the data, anywhere in the value. Throws Exception for a malformed one.
ZN_EXPORT Value decodeTaggedValues(const Value& value);

}  // namespace zn
