#include <algorithm>
#include <cmath>
#include <functional>

#include "ZNPlatform/Foundation/Value.h"

namespace zn {

namespace {

/// Two reals; not-a-number equals itself, so that equality stays an equivalence and sharing may shorten comparisons.
bool realsAreEqual(double a, double b) noexcept { return a == b || (std::isnan(a) && std::isnan(b)); }

/// The integer that a real is exactly, if it is one of 64 bits.
bool exactInteger(double real, std::int64_t& integer) noexcept {
  if (!(real >= -0x1p63 && real < 0x1p63) || std::trunc(real) != real) return false;
  integer = static_cast<std::int64_t>(real);
  return true;
}

/// A number as an integer, where it is one exactly.
bool exactInteger(const Value& number, std::int64_t& integer) noexcept {
  if (number.type() == Value::Type::real) return exactInteger(number.real(), integer);
  integer = number.isBoolean() ? number.boolean() : number.integer();
  return true;
}

bool numbersAreEqual(const Value& a, const Value& b) noexcept {
  std::int64_t left = 0;
  std::int64_t right = 0;
  const bool leftIsInteger = exactInteger(a, left);
  const bool rightIsInteger = exactInteger(b, right);
  if (leftIsInteger != rightIsInteger) return false;
  return leftIsInteger ? left == right : realsAreEqual(a.real(), b.real());
}

std::size_t realHash(double real) noexcept {
  std::int64_t integer = 0;
  if (exactInteger(real, integer)) return std::hash<std::int64_t>()(integer);
  return std::isnan(real) ? 0x7FF8u : std::hash<double>()(real);
}

std::size_t mixed(std::size_t seed, std::size_t hash) noexcept {
  const std::uint64_t product = (seed * 31 + hash) * 0x9E3779B97F4A7C15u;
  return static_cast<std::size_t>(product ^ product >> 32);
}

}  // namespace

// Equality and hash recurse: `maximumDepth` bounds them to a small part of a thread's stack.
bool operator==(const Value& a, const Value& b) noexcept {
  if (a.isNumber() && b.isNumber()) return numbersAreEqual(a, b);
  if (a.type() != b.type()) return false;
  if (a.isShared() && a.identity() == b.identity()) return true;
  switch (a.type()) {
    case Value::Type::string:
      return a.string() == b.string();
    case Value::Type::date:
      return realsAreEqual(a.date().secondsSince1970, b.date().secondsSince1970);
    case Value::Type::data:
      return std::ranges::equal(a.data(), b.data());
    case Value::Type::array:
      return a.depth() == b.depth() && std::ranges::equal(a.elements(), b.elements());
    case Value::Type::dictionary: {
      const auto isEqualEntry = [](const Value::Entry& left, const Value::Entry& right) {
        return left.name() == right.name() && left.value == right.value;
      };
      return a.depth() == b.depth() && std::ranges::equal(a.entries(), b.entries(), isEqualEntry);
    }
    default:
      return true;  // nil and null
  }
}

std::size_t Value::hash() const noexcept {
  const auto seed = static_cast<std::size_t>(type_);
  switch (type_) {
    case Type::nil:
    case Type::null:
      return seed;
    case Type::boolean:
      return std::hash<std::int64_t>()(payload_.boolean);
    case Type::integer:
      return std::hash<std::int64_t>()(payload_.integer);
    case Type::real:
      return realHash(payload_.real);
    case Type::date:
      return mixed(seed, realHash(payload_.real));
    case Type::string:
      return std::hash<std::string_view>()(string());
    case Type::data:
      return mixed(seed, std::hash<std::string_view>()({reinterpret_cast<const char*>(data().data()), data().size()}));
    case Type::array: {
      std::size_t result = seed;
      for (const Value& element : elements()) result = mixed(result, element.hash());
      return result;
    }
    case Type::dictionary:
      break;
  }
  std::size_t result = seed;
  for (const Entry& entry : entries()) result = mixed(mixed(result, entry.key.hash()), entry.value.hash());
  return result;
}

}  // namespace zn
