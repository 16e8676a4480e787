#include "ZNMessaging/Utils/ArchivedFields_p.h"

#include <algorithm>
#include <bit>

namespace {

bool hasSameBits(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

bool containersArchiveAlike(const zn::Value& a, const zn::Value& b) {
  if (a.isMutable() != b.isMutable()) return false;
  if (a.identity() == b.identity()) return true;
  if (a.isArray())
    return std::ranges::equal(a.elements(), b.elements(),
                              [](const auto& left, const auto& right) { return zn::archiveAlike(left, right); });
  return std::ranges::equal(a.entries(), b.entries(), [](const zn::Value::Entry& left, const zn::Value::Entry& right) {
    return left.name() == right.name() && zn::archiveAlike(left.value, right.value);
  });
}

}  // namespace

bool zn::archiveAlike(const Value& a, const Value& b) {
  if (a.type() != b.type()) return false;
  switch (a.type()) {
    case Value::Type::nil:
    case Value::Type::null:
      return true;
    case Value::Type::boolean:
      return a.boolean() == b.boolean();
    case Value::Type::integer:
      return a.integer() == b.integer();
    case Value::Type::real:
      return hasSameBits(a.real(), b.real());
    case Value::Type::date:
      return hasSameBits(a.date().secondsSince1970, b.date().secondsSince1970);
    case Value::Type::string:
      return a.string() == b.string();
    case Value::Type::data:
      return std::ranges::equal(a.data(), b.data());
    case Value::Type::array:
    case Value::Type::dictionary:
      return containersArchiveAlike(a, b);
  }
  return false;
}
