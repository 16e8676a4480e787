#pragma once

#include <cstdint>
#include <exception>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// How `%@` prints a value: a string as it is, a number in its shortest form, a boolean as 1 or 0, nil as "(null)", a
/// date as its seconds since 1970, data as lower-case hex, null and containers as JSON without blanks.
ZN_EXPORT std::string description(const Value& value);

/// A number as all texts of this library print it: without a fraction (below 2^53) as an integer, any other in the
/// shortest form that reads back the same, with an exponent only below 1e-5 and from 1e16 ("1e16", "2.5e-7").
ZN_EXPORT std::string numberText(double number);

/// One argument of a format. Holds views: it must not outlive the expression it is made in.
class ZN_EXPORT FormatArgument {
 public:
  FormatArgument(const Value& value) : value_(&value) {}
  FormatArgument(std::string_view text) : value_(text) {}
  FormatArgument(const std::string& text) : value_(std::string_view(text)) {}
  FormatArgument(const char* text) : value_(std::string_view(text ? text : "(null)")) {}
  FormatArgument(const std::exception& error) : value_(std::string_view(error.what())) {}
  template <std::integral I>
  FormatArgument(I number) : value_(static_cast<std::int64_t>(number)) {}
  template <std::floating_point F>
  FormatArgument(F number) : value_(static_cast<double>(number)) {}

 private:
  friend ZN_EXPORT std::string formatArguments(std::string_view format, std::span<const FormatArgument> arguments);
  std::variant<const Value*, std::string_view, std::int64_t, double> value_;
};

ZN_EXPORT std::string formatArguments(std::string_view format, std::span<const FormatArgument> arguments);

/// Fills a format with Foundation's placeholders: `%@`, `%d`, `%ld`, `%lld`, `%u`, `%lu`, `%f` (six decimals), `%0.1f`
/// and the like, `%%`. Never fails: a placeholder without an argument prints "(null)", spare arguments are left out,
/// and an argument of another type than the placeholder's is printed as `%@` would. Two exceptions: an integer may
/// stand for a real, and a Value that is a number, or a string that reads as one, is converted (`%ld` prints its
/// integer value). Call it with its namespace: beside `<format>`, a string among the arguments brings in std::format too,
/// which would take the call and print the placeholders as they are.
template <class... Arguments>
std::string format(std::string_view text, const Arguments&... arguments) {
  if constexpr (sizeof...(Arguments) == 0) {
    return formatArguments(text, {});
  } else {
    const FormatArgument list[] = {FormatArgument(arguments)...};
    return formatArguments(text, list);
  }
}

}  // namespace zn
