#include "ZNAnalytics/ConditionFilter_p.h"

#include <algorithm>
#include <array>
#include <span>

#include "ZNAnalytics/ConditionParser_p.h"
#include "ZNAnalytics/TrackedEvent.h"

namespace zn {

namespace {

using Kind = ConditionNode::Kind;
using Constants = std::span<const ConditionConstant>;

/// Where attributes are looked up, in this order.
using Places = std::array<const Value*, 3>;

/// The attribute, or nil. Like validObjectForKey, but without taking a share of the value.
const Value& attributeIn(const Places& places, const std::string& name) {
  for (const Value* place : places) {
    const Value& value = (*place)[name];
    if (value && !value.isNull()) return value;
  }
  return nil;
}

}  // namespace

std::partial_ordering compare(const Value& attribute, const ConditionConstant& constant) {
  const Value& value = constant.value;
  switch (attribute.type()) {
    case Value::Type::boolean:
      if (value.isBoolean()) return attribute.boolean() <=> value.boolean();
      break;
    case Value::Type::integer:
    case Value::Type::real:
      if (value.isNumber() && !value.isBoolean()) return compareNumbers(attribute, value);
      break;
    case Value::Type::string:
      if (value.isString()) return attribute.string() <=> value.string();
      break;
    case Value::Type::date:
      return attribute.date().secondsSince1970 <=> constant.secondsSince1970;
    default:
      break;
  }
  return std::partial_ordering::unordered;
}

namespace {

Constants constantsOf(const ConditionFilter& filter, const ConditionNode& node) {
  return Constants(filter.constants).subspan(node.firstConstant, node.constantCount);
}

bool contains(const Value& attribute, const ConditionConstant& constant) {
  if (attribute.isString()) {
    return constant.value.isString() && attribute.string().find(constant.value.string()) != std::string_view::npos;
  }
  return std::ranges::any_of(attribute.elements(),
                             [&](const Value& element) { return compare(element, constant) == 0; });
}

/// A missing attribute is nil, which compares with nothing.
bool isTestSatisfied(Kind kind, const Value& attribute, Constants constants) {
  switch (kind) {
    case Kind::equals:
      return compare(attribute, constants[0]) == 0;
    case Kind::notEquals:
      return compare(attribute, constants[0]) != 0;
    case Kind::in:
      return std::ranges::any_of(constants, [&](const auto& constant) { return compare(attribute, constant) == 0; });
    case Kind::greater:
      return compare(attribute, constants[0]) > 0;
    case Kind::less:
      return compare(attribute, constants[0]) < 0;
    case Kind::atLeast:
      return compare(attribute, constants[0]) >= 0;
    case Kind::atMost:
      return compare(attribute, constants[0]) <= 0;
    case Kind::between:
      return compare(attribute, constants[0]) >= 0 && compare(attribute, constants[1]) <= 0;
    case Kind::contains:
      return contains(attribute, constants[0]);
    case Kind::startsWith:
      return attribute.isString() && attribute.string().starts_with(constants[0].value.string());
    case Kind::exists:
      return !attribute.isNil();
    default:
      return false;  // all, any and inverse are no tests
  }
}

bool isSatisfied(const ConditionFilter& filter, std::uint32_t index, const Places& places) {
  const ConditionNode& node = filter.nodes[index];
  if (node.kind == Kind::inverse) return !isSatisfied(filter, index + 1, places);
  if (node.kind == Kind::all || node.kind == Kind::any) {
    // The first part that is not satisfied decides for all, the first that is decides for any.
    const bool decisive = node.kind == Kind::any;
    for (std::uint32_t part = index + 1; part < node.end; part = filter.nodes[part].end) {
      if (isSatisfied(filter, part, places) == decisive) return decisive;
    }
    return !decisive;
  }
  return isTestSatisfied(node.kind, attributeIn(places, node.attribute), constantsOf(filter, node));
}

/// Goes down to the tests that decide, and says of each what it met.
class Account {
 public:
  Account(const ConditionFilter& filter, const Places& places) : filter_(filter), places_(places) {}

  /// Says why the filter at that place holds, or fails, as it does.
  void add(std::uint32_t index, bool holds, const std::string& place) {
    const ConditionNode& node = filter_.nodes[index];
    const std::string below = place + "." + std::string(conditionWord(node.kind));
    if (node.kind == Kind::inverse) return add(index + 1, !holds, below);
    if (node.kind != Kind::all && node.kind != Kind::any) return addTest(node, holds, place);
    // One part decides that all fail or that any holds; for the contrary every part counts.
    const bool isDecidedByOne = holds == (node.kind == Kind::any);
    std::size_t number = 0;
    for (std::uint32_t part = index + 1; part < node.end; part = filter_.nodes[part].end, ++number) {
      if (isSatisfied(filter_, part, places_) != holds) continue;
      add(part, holds, below + "[" + std::to_string(number) + "]");
      if (isDecidedByOne) return;
    }
  }

  const std::string& text() const { return text_; }

 private:
  static constexpr int kMostTests = 4;

  void addTest(const ConditionNode& node, bool holds, const std::string& place) {
    if (++tests_ > kMostTests) {
      if (tests_ == kMostTests + 1) text_ += "; …";
      return;
    }
    const Value& attribute = attributeIn(places_, node.attribute);
    const Constants constants = constantsOf(filter_, node);
    text_ += (text_.empty() ? "" : "; ") + place + ": " + shownInCondition(node.attribute) + " " +
             std::string(conditionWord(node.kind)) + comparedWith(node.kind, constants) +
             (holds ? " holds" : " fails") + ", as it is " +
             (attribute.isNil() ? "missing" : shownInCondition(attribute));
    const auto compares = [&](const auto& constant) {
      return compare(attribute, constant) != std::partial_ordering::unordered;
    };
    const bool isInAnother = node.kind == Kind::contains || node.kind == Kind::startsWith || constants.empty();
    if (!holds && !attribute.isNil() && !isInAnother && std::ranges::none_of(constants, compares)) {
      text_ += ", of a type that does not compare";
    }
  }

  static std::string comparedWith(Kind kind, Constants constants) {
    if (constants.empty()) return "";
    if (kind != Kind::in && kind != Kind::between) return " " + shownInCondition(constants[0].value);
    Value all = Value::array();
    for (const auto& constant : constants) all.append(constant.value);
    return " " + shownInCondition(all);
  }

  const ConditionFilter& filter_;
  const Places& places_;
  std::string text_;
  int tests_ = 0;
};

Places placesIn(const Value& trackedAttributes) {
  const Places places = {&trackedAttributes[kCustomEventAttributes], &trackedAttributes[kEventAttributes],
                         &trackedAttributes};
  return places;
}

}  // namespace

bool ConditionFilter::isSatisfiedBy(const Value& trackedAttributes) const {
  return isSatisfied(*this, 0, placesIn(trackedAttributes));
}

std::string ConditionFilter::refusal(const Value& trackedAttributes) const {
  const Places places = placesIn(trackedAttributes);
  if (isSatisfied(*this, 0, places)) return "";
  Account account(*this, places);
  account.add(0, false, "filter");
  return account.text();
}

}  // namespace zn
