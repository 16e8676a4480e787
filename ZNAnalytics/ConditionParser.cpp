#include "ZNAnalytics/ConditionParser_p.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <string_view>

#include "ZNPlatform/Foundation/IsoDate_p.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zn {

namespace {

using Kind = ConditionNode::Kind;

/// The value that a comparison takes.
enum class Operand { none, any, ordered, text, list, range };

struct Comparison {
  std::string_view name;
  Kind kind;
  Operand operand;
};

constexpr Comparison comparisons[] = {
    {"equals", Kind::equals, Operand::any},
    {"notEquals", Kind::notEquals, Operand::any},
    {"in", Kind::in, Operand::list},
    {"greater", Kind::greater, Operand::ordered},
    {"less", Kind::less, Operand::ordered},
    {"atLeast", Kind::atLeast, Operand::ordered},
    {"atMost", Kind::atMost, Operand::ordered},
    {"between", Kind::between, Operand::range},
    {"contains", Kind::contains, Operand::any},
    {"startsWith", Kind::startsWith, Operand::text},
    {"exists", Kind::exists, Operand::none},
};

struct Combination {
  std::string_view name;
  Kind kind;
};

constexpr Combination combinations[] = {{"and", Kind::all}, {"or", Kind::any}, {"not", Kind::inverse}};

std::string comparisonNames() {
  std::string names;
  for (const Comparison& comparison : comparisons) {
    if (!names.empty()) names += ", ";
    names += comparison.name;
  }
  return names;
}

/// The seconds of a date: a Value that is one, or {"$date": seconds}. Not a number for anything else.
double secondsOfDate(const Value& value) {
  if (value.isDate()) return value.date().secondsSince1970;
  const Value& seconds = value["$date"];
  const bool isTagged = value.entries().size() == 1 && seconds.isNumber() && !seconds.isBoolean();
  return isTagged ? seconds.doubleValue() : std::numeric_limits<double>::quiet_NaN();
}

/// What a single value stands for; nil where the operand does not accept it.
ConditionConstant constantFor(Operand operand, const Value& value) {
  if (value.isString()) return {value, secondsOfIsoDate(value.string())};
  if (operand == Operand::text) return {};
  if (value.isBoolean()) return operand == Operand::any ? ConditionConstant{value} : ConditionConstant{};
  if (value.isNumber()) return std::isnan(value.doubleValue()) ? ConditionConstant{} : ConditionConstant{value};
  const double seconds = secondsOfDate(value);
  return std::isfinite(seconds) ? ConditionConstant{Date{seconds}, seconds} : ConditionConstant{};
}

std::partial_ordering compareEnds(const ConditionConstant& low, const ConditionConstant& high) {
  const auto byDate = low.secondsSince1970 <=> high.secondsSince1970;
  return byDate != std::partial_ordering::unordered ? byDate : compare(low.value, high);
}

class Parser {
 public:
  ParsedCondition parse(const Value& dictionary);

 private:
  void parseFilter(const Value& filter);
  void parseCombination(const Combination& combination, const Value& parts);
  void parseTest(const Value& test);
  void parseOperand(const Comparison& comparison, const Value& value);
  void parseConstant(const Comparison& comparison, Operand operand, const Value& value);
  const Comparison& comparisonNamed(const Value& name) const;
  Value required(const Value& dictionary, std::string_view key) const;
  void refuseOtherKeys(const Value& dictionary, std::initializer_list<std::string_view> known,
                       const std::string& hint) const;
  [[noreturn]] void fail(const std::string& why) const { throw ConditionProblem{place_ + ": " + why}; }

  /// Runs `body` one step further down, so that a problem names that place.
  template <class Body>
  void at(const std::string& step, const Body& body) {
    const std::size_t length = place_.size();
    place_ += step;
    body();
    place_.resize(length);
  }
  /// Runs `body` for every element of a list that has some. An empty one is refused: it is more likely a mistake of
  /// whoever made the condition than a wish to reach everybody, or nobody.
  template <class Body>
  void forEach(const Value& list, const char* what, const Body& body) {
    if (!list.isArray() || list.isEmpty()) fail(shownInCondition(list) + " is not a list of one " + what + " or more");
    for (std::size_t i = 0; i < list.size(); ++i) {
      at("[" + std::to_string(i) + "]", [&] { body(list.elements()[i]); });
    }
  }

  ConditionFilter filter_;
  std::string place_ = "condition";
  int depth_ = 0;
};

ParsedCondition Parser::parse(const Value& dictionary) {
  if (!dictionary.isDictionary()) fail(shownInCondition(dictionary) + " is not a dictionary");
  refuseOtherKeys(dictionary, {"eventName", "filter"}, R"(a condition has "eventName" and "filter")");
  ParsedCondition parsed;
  const Value name = required(dictionary, "eventName");
  place_ = "eventName";
  if (!name.isString()) fail(shownInCondition(name) + " is not a string");
  parsed.eventName = name.string();
  if (const Value filter = dictionary.validObjectForKey("filter")) {
    place_ = "filter";
    parseFilter(filter);
    parsed.filter = std::make_unique<const ConditionFilter>(std::move(filter_));
  }
  return parsed;
}

void Parser::parseFilter(const Value& filter) {
  if (!filter.isDictionary()) fail(shownInCondition(filter) + " is not a filter, which is a dictionary");
  const auto isNamed = [&](const Combination& combination) { return !filter[combination.name].isNil(); };
  const auto* combination = std::ranges::find_if(combinations, isNamed);
  const std::size_t index = filter_.nodes.size();
  filter_.nodes.emplace_back();
  if (combination == std::end(combinations)) {
    parseTest(filter);
  } else {
    const std::string name(combination->name);
    refuseOtherKeys(filter, {name}, "\"" + name + "\" stands alone");
    at("." + name, [&] { parseCombination(*combination, filter[name]); });
  }
  filter_.nodes[index].end = static_cast<std::uint32_t>(filter_.nodes.size());
}

void Parser::parseCombination(const Combination& combination, const Value& parts) {
  if (++depth_ > ConditionFilter::maximumDepth) {
    fail("filters nest deeper than " + std::to_string(ConditionFilter::maximumDepth) + " levels");
  }
  filter_.nodes.back().kind = combination.kind;
  if (combination.kind == Kind::inverse) {
    parseFilter(parts);
  } else {
    forEach(parts, "filter", [&](const Value& part) { parseFilter(part); });
  }
  --depth_;
}

void Parser::parseTest(const Value& test) {
  refuseOtherKeys(test, {"attribute", "is", "value"},
                  R"(a filter has "and", "or", "not", or "attribute", "is" and "value")");
  ConditionNode& node = filter_.nodes.back();
  node.firstConstant = static_cast<std::uint32_t>(filter_.constants.size());
  const Value attribute = required(test, "attribute");
  at(".attribute", [&] {
    if (!attribute.isString() || attribute.string().empty())
      fail(shownInCondition(attribute) + " is not an attribute's name");
    node.attribute = attribute.string();
  });
  const Value name = required(test, "is");
  const Comparison* comparison = nullptr;
  at(".is", [&] { comparison = &comparisonNamed(name); });
  node.kind = comparison->kind;
  const bool takesValue = comparison->operand != Operand::none;
  const Value value = takesValue ? required(test, "value") : test.validObjectForKey("value");
  at(".value", [&] { parseOperand(*comparison, value); });
  node.constantCount = static_cast<std::uint32_t>(filter_.constants.size()) - node.firstConstant;
}

const Comparison& Parser::comparisonNamed(const Value& name) const {
  const auto* found = std::ranges::find(comparisons, name.string(), &Comparison::name);
  if (!name.isString() || found == std::end(comparisons)) {
    fail(shownInCondition(name) + " is not a comparison; use one of " + comparisonNames());
  }
  return *found;
}

void Parser::parseOperand(const Comparison& comparison, const Value& value) {
  switch (comparison.operand) {
    case Operand::none:
      if (value) fail("\"" + std::string(comparison.name) + "\" takes no value");
      break;
    case Operand::list:
      forEach(value, "value", [&](const Value& element) { parseConstant(comparison, Operand::any, element); });
      break;
    case Operand::range: {
      if (value.size() != 2) fail(shownInCondition(value) + " is not a list of two values, lowest and highest");
      forEach(value, "value", [&](const Value& end) { parseConstant(comparison, Operand::ordered, end); });
      const auto order = compareEnds(*(filter_.constants.end() - 2), filter_.constants.back());
      if (order == std::partial_ordering::unordered)
        fail("the two values of " + shownInCondition(value) + " do not compare");
      if (order > 0) fail("the first value of " + shownInCondition(value) + " is above the second");
      break;
    }
    default:
      parseConstant(comparison, comparison.operand, value);
  }
}

void Parser::parseConstant(const Comparison& comparison, Operand operand, const Value& value) {
  ConditionConstant constant = constantFor(operand, value);
  if (constant.value.isNil()) {
    fail(shownInCondition(value) + " is nothing that \"" + std::string(comparison.name) + "\" compares with; use " +
         (operand == Operand::text      ? "a string"
          : operand == Operand::ordered ? "a number, string or date"
                                        : "a number, string, boolean or date"));
  }
  filter_.constants.push_back(std::move(constant));
}

Value Parser::required(const Value& dictionary, std::string_view key) const {
  Value value = dictionary.validObjectForKey(key);
  if (!value) fail("\"" + std::string(key) + "\" is missing");
  return value;
}

void Parser::refuseOtherKeys(const Value& dictionary, std::initializer_list<std::string_view> known,
                             const std::string& hint) const {
  for (const Value::Entry& entry : dictionary.entries()) {
    if (std::ranges::find(known, entry.name()) == known.end()) {
      fail(shownInCondition(entry.key) + " has no place here; " + hint);
    }
  }
}

}  // namespace

std::string_view conditionWord(Kind kind) {
  const auto* combination = std::ranges::find(combinations, kind, &Combination::kind);
  if (combination != std::end(combinations)) return combination->name;
  return std::ranges::find(comparisons, kind, &Comparison::kind)->name;
}

std::string shownInCondition(const Value& value) {
  constexpr std::size_t longest = 80;
  const std::string text = jsonText(value);
  if (text.size() <= longest) return text;
  std::size_t end = longest;
  while ((static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;  // whole characters only
  return text.substr(0, end) + "…";
}

ParsedCondition parseCondition(const Value& dictionary) { return Parser().parse(dictionary); }

}  // namespace zn
