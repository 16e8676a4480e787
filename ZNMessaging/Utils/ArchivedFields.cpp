#include "ZNMessaging/Utils/ArchivedFields_p.h"

#include <algorithm>
#include <bit>

namespace {

bool hasSameBits(double a, double b) { return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b); }

bool containersArchiveAlike(const zn::Value& a, const zn::Value& b) {
  if (a.isMutable() != b.isMutable()) return false;
  if (a.identity() == b.identity()) return true;
  const auto isAlike = [](const zn::Value& left, const zn::Value& right) { return zn::archiveAlike(left, right); };
  const auto isEntryAlike = [](const zn::Value::Entry& left, const zn::Value::Entry& right) {
    return left.name() == right.name() && zn::archiveAlike(left.value, right.value);
  };
  return a.isArray() ? std::ranges::equal(a.elements(), b.elements(), isAlike)
                     : std::ranges::equal(a.entries(), b.entries(), isEntryAlike);
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
