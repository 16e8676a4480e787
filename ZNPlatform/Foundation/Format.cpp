#include "ZNPlatform/Foundation/Format.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace zn {

namespace {

using Argument = std::variant<const Value*, std::string_view, std::int64_t, double>;

constexpr int kMaximumFieldSize = 256;

const char* nonFiniteText(double number) noexcept {
  if (std::isnan(number)) return "nan";
  return number < 0 ? "-inf" : "inf";
}

/// The significant digits of a finite number other than 0, and the power of ten that its first digit stands for.
struct Digits {
  std::string text;
  int power = 0;
};

Digits shortestDigits(double magnitude) {
  char buffer[32];
  const auto end = std::to_chars(buffer, buffer + sizeof(buffer), magnitude, std::chars_format::scientific).ptr;
  const char* exponent = std::find(buffer, end, 'e');
  Digits digits;
  for (const char* at = buffer; at != exponent; ++at) {
    if (*at != '.') digits.text += *at;
  }
  std::from_chars(exponent + (exponent[1] == '+' ? 2 : 1), end, digits.power);
  return digits;
}

std::string scientific(const Digits& digits) {
  std::string text = digits.text.substr(0, 1);
  if (digits.text.size() > 1) text.append(".").append(digits.text, 1);
  return text + "e" + std::to_string(digits.power);
}

std::string positional(const Digits& digits) {
  if (digits.power < 0) return "0." + std::string(static_cast<std::size_t>(-digits.power - 1), '0') + digits.text;
  const auto whole = static_cast<std::size_t>(digits.power) + 1;
  if (digits.text.size() <= whole) return digits.text + std::string(whole - digits.text.size(), '0');
  return digits.text.substr(0, whole) + "." + digits.text.substr(whole);
}

/// What stands between the percent sign and the letter.
struct Placeholder {
  bool leftAligned = false;
  bool zeroPadded = false;
  bool plus = false;
  int width = 0;
  int precision = -1;
  char letter = 0;
  std::size_t size = 0;  ///< characters, the percent sign included; 0 where this is no placeholder
};

int takeNumber(std::string_view text, std::size_t& at) noexcept {
  int number = 0;
  for (; at < text.size() && isAsciiDigit(text[at]); ++at) {
    number = std::min(number * 10 + (text[at] - '0'), kMaximumFieldSize);
  }
  return number;
}

Placeholder placeholderAt(std::string_view text) noexcept {
  Placeholder result;
  std::size_t at = 1;
  const auto current = [&] { return at < text.size() ? text[at] : '\0'; };
  for (bool more = true; more; at += more) {
    const char flag = current();
    result.leftAligned |= flag == '-';
    result.zeroPadded |= flag == '0';
    result.plus |= flag == '+';
    more = flag == '-' || flag == '0' || flag == '+';
  }
  result.width = takeNumber(text, at);
  if (current() == '.') {
    ++at;
    result.precision = takeNumber(text, at);
  }
  while (std::string_view("lhqzjt").find(current()) != std::string_view::npos) ++at;
  result.letter = current();
  if (result.letter != '\0' && std::string_view("@sdiufF%").find(result.letter) != std::string_view::npos) {
    result.size = at + 1;
  }
  return result;
}

bool isNumericText(std::string_view text) noexcept {
  if (!text.empty() && text[0] == '+') text.remove_prefix(1);
  if (text.find_first_not_of("0123456789+-.eE") != std::string_view::npos) return false;
  double number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec != std::errc::invalid_argument && result.ptr == text.data() + text.size();
}

bool isNumeric(const Value& value) noexcept {
  return value.isNumber() || (value.isString() && isNumericText(value.string()));
}

std::string argumentDescription(const Argument& argument) {
  if (const auto* value = std::get_if<const Value*>(&argument)) return description(**value);
  if (const auto* text = std::get_if<std::string_view>(&argument)) return std::string(*text);
  if (const auto* integer = std::get_if<std::int64_t>(&argument)) return std::to_string(*integer);
  return numberText(std::get<double>(argument));
}

std::string integerText(const Argument& argument, bool isUnsigned, bool plus) {
  std::int64_t number = 0;
  if (const auto* integer = std::get_if<std::int64_t>(&argument)) {
    number = *integer;
  } else if (const auto* value = std::get_if<const Value*>(&argument); value && isNumeric(**value)) {
    number = (*value)->longLongValue();
  } else {
    return argumentDescription(argument);
  }
  if (isUnsigned) return std::to_string(static_cast<std::uint64_t>(number));
  return (plus && number >= 0 ? "+" : "") + std::to_string(number);
}

std::string realText(const Argument& argument, int precision, bool plus) {
  double number = 0;
  if (const auto* real = std::get_if<double>(&argument)) {
    number = *real;
  } else if (const auto* integer = std::get_if<std::int64_t>(&argument)) {
    number = static_cast<double>(*integer);
  } else if (const auto* value = std::get_if<const Value*>(&argument); value && isNumeric(**value)) {
    number = (*value)->doubleValue();
  } else {
    return argumentDescription(argument);
  }
  if (!std::isfinite(number)) return nonFiniteText(number);
  char buffer[std::numeric_limits<double>::max_exponent10 + kMaximumFieldSize + 8];
  const int decimals = precision < 0 ? 6 : precision;
  const auto end = std::to_chars(buffer, buffer + sizeof(buffer), number, std::chars_format::fixed, decimals).ptr;
  return (plus && !std::signbit(number) ? "+" : "") + std::string(buffer, end);
}

std::string padded(std::string text, const Placeholder& placeholder) {
  const auto width = static_cast<std::size_t>(placeholder.width);
  if (text.size() >= width) return text;
  const std::size_t missing = width - text.size();
  if (placeholder.leftAligned) return text.append(missing, ' ');
  // Zeros pad digits only, behind the sign: "(null)" and "inf" are not digits.
  const std::size_t sign = text[0] == '-' || text[0] == '+' ? 1 : 0;
  const bool isNumber = text.size() > sign && isAsciiDigit(text[sign]);
  const bool takesZeros = placeholder.zeroPadded && isNumber && placeholder.letter != '@' && placeholder.letter != 's';
  return takesZeros ? text.insert(sign, missing, '0') : text.insert(0, missing, ' ');
}

std::string filled(const Placeholder& placeholder, const Argument& argument) {
  switch (placeholder.letter) {
    case 'd':
    case 'i':
    case 'u':
      return padded(integerText(argument, placeholder.letter == 'u', placeholder.plus), placeholder);
    case 'f':
    case 'F':
      return padded(realText(argument, placeholder.precision, placeholder.plus), placeholder);
    default:
      return padded(argumentDescription(argument), placeholder);
  }
}

}  // namespace

std::string numberText(double number) {
  if (!std::isfinite(number)) return nonFiniteText(number);
  const double magnitude = std::fabs(number);
  if (magnitude < 0x1p53 && std::trunc(number) == number) return std::to_string(static_cast<std::int64_t>(number));
  const Digits digits = shortestDigits(magnitude);
  return (number < 0 ? "-" : "") + (digits.power < -5 || digits.power >= 16 ? scientific(digits) : positional(digits));
}

std::string description(const Value& value) {
  switch (value.type()) {
    case Value::Type::nil:
      return "(null)";
    case Value::Type::boolean:
      return value.boolean() ? "1" : "0";
    case Value::Type::string:
      return std::string(value.string());
    case Value::Type::real:
      return numberText(value.real());
    case Value::Type::date:
      return numberText(value.date().secondsSince1970);
    case Value::Type::data:
      return hexText(value.data());
    default:
      return jsonText(value);
  }
}

std::string formatArguments(std::string_view format, std::span<const FormatArgument> arguments) {
  std::string out;
  out.reserve(format.size() + 16 * arguments.size());
  std::size_t next = 0;
  while (true) {
    const auto percent = std::min(format.find('%'), format.size());
    out.append(format.substr(0, percent));
    format.remove_prefix(percent);
    if (format.empty()) return out;
    const Placeholder placeholder = placeholderAt(format);
    if (placeholder.size == 0) {
      out += '%';
      format.remove_prefix(1);
      continue;
    }
    format.remove_prefix(placeholder.size);
    if (placeholder.letter == '%') {
      out += '%';
    } else if (next < arguments.size()) {
      out += filled(placeholder, arguments[next++].value_);
    } else {
      out += "(null)";
    }
  }
}

}  // namespace zn
