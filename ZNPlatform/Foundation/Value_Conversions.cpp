#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZNPlatform/Foundation/Unicode.h"
#include "ZNPlatform/Foundation/Value.h"

// Everything here reads numbers with std::from_chars: the process's locale must not decide what a payload means.

namespace zn {

namespace {

std::size_t digitCount(std::string_view text) noexcept {
  return static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isAsciiDigit) - text.begin());
}

std::string_view withoutLeadingBlanks(std::string_view text) noexcept {
  const auto first = text.find_first_not_of(" \t\n\v\f\r");
  return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

std::int64_t integerFromText(std::string_view text) noexcept {
  text = withoutLeadingBlanks(text);
  const bool isNegative = takeSign(text);
  using Limits = std::numeric_limits<std::int64_t>;
  std::uint64_t magnitude = 0;
  const auto result = std::from_chars(text.data(), text.data() + digitCount(text), magnitude);
  constexpr auto largest = static_cast<std::uint64_t>(Limits::max());
  const bool isTooLarge = result.ec == std::errc::result_out_of_range || magnitude > largest;
  if (isTooLarge) return isNegative ? Limits::min() : Limits::max();
  const auto value = static_cast<std::int64_t>(magnitude);
  return isNegative ? -value : value;
}

/// Characters of the decimal number at the front: digits with at most one point, and an exponent that has digits.
std::size_t decimalLength(std::string_view text) noexcept {
  std::size_t length = digitCount(text);
  std::size_t digits = length;
  if (length < text.size() && text[length] == '.') {
    const std::size_t fraction = digitCount(text.substr(length + 1));
    digits += fraction;
    length += 1 + fraction;
  }
  if (digits == 0) return 0;
  if (length < text.size() && (text[length] == 'e' || text[length] == 'E')) {
    std::string_view exponent = text.substr(length + 1);
    takeSign(exponent);
    const std::size_t exponentDigits = digitCount(exponent);
    if (exponentDigits > 0) return static_cast<std::size_t>(exponent.data() + exponentDigits - text.data());
  }
  return length;
}

/// Whether a number that no double can hold is too large rather than too small: the power of ten of its first digit
/// tells.
bool isTooLarge(std::string_view number) noexcept {
  const auto letter = std::min(number.find_first_of("eE"), number.size());
  std::int64_t power = letter < number.size() ? integerFromText(number.substr(letter + 1)) : 0;
  const std::string_view digits = number.substr(0, letter);
  const auto point = static_cast<std::int64_t>(std::min(digits.find('.'), digits.size()));
  const auto first = static_cast<std::int64_t>(std::min(digits.find_first_not_of("0."), digits.size()));
  // An exponent far beyond both ends decides alone, and adding to it could overflow.
  constexpr std::int64_t limit = std::int64_t{1} << 62;
  power = std::clamp(power, -limit, limit);
  return power + point - first > 0;
}

double realFromText(std::string_view text) noexcept {
  text = withoutLeadingBlanks(text);
  const bool isNegative = takeSign(text);
  const std::string_view number = text.substr(0, decimalLength(text));
  if (number.empty()) return 0;
  double value = 0;
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
  if (result.ec == std::errc::result_out_of_range) {
    value = isTooLarge(number) ? std::numeric_limits<double>::infinity() : 0;
  }
  return isNegative ? -value : value;
}

std::int64_t truncated(double real) noexcept {
  using Limits = std::numeric_limits<std::int64_t>;
  if (std::isnan(real)) return 0;
  if (real >= 0x1p63) return Limits::max();
  if (real < -0x1p63) return Limits::min();
  return static_cast<std::int64_t>(real);
}

std::partial_ordering compare(std::int64_t integer, double real) {
  if (std::isnan(real)) return std::partial_ordering::unordered;
  if (real >= 0x1p63) return std::partial_ordering::less;
  if (real < -0x1p63) return std::partial_ordering::greater;
  const double whole = std::trunc(real);
  const auto order = integer <=> static_cast<std::int64_t>(whole);
  return order != 0 ? order : whole <=> real;
}

/// By type.
constexpr const char* kTypeNames[] = {"nil",      "null",   "a number", "a number", "a number",
                                      "a string", "a date", "data",     "an array", "a dictionary"};

[[noreturn]] void throwNoConversion(Value::Type type, const char* wanted) {
  throw Exception(std::string(kTypeNames[static_cast<std::size_t>(type)]) + " has no " + wanted);
}

}  // namespace

std::partial_ordering compareNumbers(const Value& a, const Value& b) {
  const bool aIsInteger = a.type() == Value::Type::integer;
  const bool bIsInteger = b.type() == Value::Type::integer;
  if (aIsInteger && bIsInteger) return a.integer() <=> b.integer();
  if (aIsInteger) return compare(a.integer(), b.real());
  if (bIsInteger) return 0 <=> compare(b.integer(), a.real());
  return a.real() <=> b.real();
}

std::int64_t Value::longLongValue() const {
  if (isString()) return integerFromText(string());
  if (!isNil() && !isNumber()) throwNoConversion(type_, "integer value");
  if (type_ == Type::real) return truncated(payload_.real);
  return isBoolean() ? boolean() : integer();
}

int Value::intValue() const {
  using Limits = std::numeric_limits<int>;
  return static_cast<int>(std::clamp<std::int64_t>(longLongValue(), Limits::min(), Limits::max()));
}

double Value::doubleValue() const {
  if (isString()) return realFromText(string());
  if (!isNil() && !isNumber()) throwNoConversion(type_, "number value");
  return type_ == Type::real ? payload_.real : static_cast<double>(isBoolean() ? boolean() : integer());
}

bool Value::boolValue() const {
  if (isNil() || isNumber()) return boolean() || integer() != 0 || real() != 0;
  if (!isString()) throwNoConversion(type_, "boolean value");
  std::string_view text = withoutLeadingBlanks(string());
  if (!text.empty() && std::string_view("YyTt").find(text[0]) != std::string_view::npos) return true;
  takeSign(text);
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
  return !text.empty() && isAsciiDigit(text[0]);
}

std::size_t Value::length() const {
  if (isNil()) return 0;
  if (isData()) return data().size();
  if (!isString()) throwNoConversion(type_, "length");
  const std::string_view text = string();
  std::size_t units = 0;
  for (std::size_t position = 0; position < text.size(); ++units) {
    const Utf8Step step = utf8StepAt(text, position);
    position += step.valid ? step.size : 1;
    if (step.scalar > 0xFFFF) ++units;
  }
  return units;
}

}  // namespace zn
