#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "ZNAnalytics/ZNEventCondition.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace {

using zn::Date;
using zn::Value;

Value json(const std::string& text) {
  zn::JsonError error;
  const auto value = zn::parseJson(text, &error);
  EXPECT_TRUE(value) << error.text << " in " << text;
  return value.value_or(zn::nil);
}

Value conditionWith(const Value& filter) { return Value::dictionary({{"eventName", "E"}, {"filter", filter}}); }

/// What an event E was tracked with.
Value tracked(const Value& attributes) {
  return Value::dictionary({{"EVENT_ATTRS", Value::dictionary()}, {"EVENT_ATTRS_CUST", attributes}});
}

bool satisfies(const Value& attributes, const Value& filter) {
  const auto condition = ZNEventCondition::initWithDictionary(conditionWith(filter));
  EXPECT_EQ(condition->problem(), "") << zn::jsonText(filter);
  return condition->checkIfAttributeConditionSatisfiedForEvent("E", tracked(attributes));
}

/// Whether attribute a, if it has one, stands in that relation to the value.
bool test(const Value& attribute, const char* comparison, const Value& value) {
  return satisfies(Value::dictionary({{"a", attribute}}),
                   Value::dictionary({{"attribute", "a"}, {"is", comparison}, {"value", value}}));
}

/// Of equals, less and greater those that hold, as "=", "<" and ">". Checks that the other comparisons agree.
std::string relation(const Value& attribute, const Value& value) {
  const bool equal = test(attribute, "equals", value);
  const bool less = test(attribute, "less", value);
  const bool greater = test(attribute, "greater", value);
  EXPECT_EQ(test(attribute, "notEquals", value), !equal);
  EXPECT_EQ(test(attribute, "in", Value::array({"something else", value})), equal);
  EXPECT_EQ(test(attribute, "between", Value::array({value, value})), equal);
  EXPECT_EQ(test(attribute, "atLeast", value), equal || greater);
  EXPECT_EQ(test(attribute, "atMost", value), equal || less);
  return std::string(equal ? "=" : "") + (less ? "<" : "") + (greater ? ">" : "");
}

std::string problem(const std::string& text) { return ZNEventCondition::initWithDictionary(json(text))->problem(); }
std::string problemOfFilter(const std::string& text) {
  return problem(R"({"eventName": "E", "filter": )" + text + "}");
}

TEST(EventCondition, AsksForTheExactEventName) {
  const auto plain = ZNEventCondition::initWithDictionary(json(R"({"eventName": "E", "filter": null})"));
  EXPECT_EQ(plain->problem(), "") << "null counts as missing";
  EXPECT_TRUE(plain->checkIfAttributeConditionSatisfiedForEvent("E", zn::nil));
  for (const Value& other : {Value("e"), Value("E "), zn::nil, Value(5)}) {
    EXPECT_FALSE(plain->checkIfAttributeConditionSatisfiedForEvent(other, zn::nil)) << zn::jsonText(other);
  }
  const auto filtered =
      ZNEventCondition::initWithDictionary(conditionWith(json(R"({"attribute": "a", "is": "equals", "value": 1})")));
  EXPECT_FALSE(filtered->checkIfAttributeConditionSatisfiedForEvent("F", tracked(json(R"({"a": 1})"))));
}

TEST(EventCondition, LooksAttributesUpInThreePlaces) {
  const auto condition =
      ZNEventCondition::initWithDictionary(conditionWith(json(R"({"attribute": "a.b", "is": "equals", "value": 1})")));
  const auto check = [&](const char* attributes) {
    return condition->checkIfAttributeConditionSatisfiedForEvent("E", json(attributes));
  };
  EXPECT_TRUE(check(R"({"EVENT_ATTRS_CUST": {"a.b": 1}, "EVENT_ATTRS": {"a.b": 2}, "a.b": 2})"));
  EXPECT_FALSE(check(R"({"EVENT_ATTRS_CUST": {"a.b": 2}, "EVENT_ATTRS": {"a.b": 1}, "a.b": 1})"));
  EXPECT_TRUE(check(R"({"EVENT_ATTRS_CUST": {"a.b": null}, "EVENT_ATTRS": {"a.b": 1}, "a.b": 2})"));
  EXPECT_TRUE(check(R"({"EVENT_ATTRS_CUST": "odd", "EVENT_ATTRS": {"a.b": null}, "a.b": 1})"));
  EXPECT_FALSE(check(R"({"EVENT_ATTRS_CUST": {"a": {"b": 1}}})")) << "a dot in a name is no path";
}

TEST(EventCondition, ComparesNumbersByValue) {
  EXPECT_EQ(relation(5, 5.0), "=");
  EXPECT_EQ(relation(-5, -5.5), ">");
  // A 64-bit integer and a real compare exactly: the nearest real of 2^53 + 1 is 2^53.
  EXPECT_EQ(relation((std::int64_t{1} << 53) + 1, 0x1p53), ">");
  EXPECT_EQ(relation(0x1p53, (std::int64_t{1} << 53) + 1), "<");
  EXPECT_EQ(relation(INT64_MAX, 0x1p63), "<");
  EXPECT_EQ(relation(INT64_MIN, -0x1p64), ">");
  EXPECT_EQ(relation(std::nan(""), 5), "");
  const Value limits = Value::array({1, 3});
  EXPECT_TRUE(test(3, "between", limits) && test(1, "between", limits));
  EXPECT_FALSE(test(3.5, "between", limits) || test(0, "between", limits));
}

TEST(EventCondition, ComparesStringsByTheirBytes) {
  EXPECT_EQ(relation("B", "b"), "<") << "upper and lower case differ";
  EXPECT_EQ(relation("b", ""), ">");
  EXPECT_EQ(relation("ä", "z"), ">") << "bytes from 128 are above ASCII";
  EXPECT_EQ(relation("2024-03-01", "2024-03-01T00:00Z"), "<") << "texts are no dates, whatever they say";
}

TEST(EventCondition, DifferentTypesAreNeverEqualAndInNoOrder) {
  const Value values[] = {5, "5", Date{5}};
  const Value attributes[] = {
      5, "5", Date{5}, true, Value::array({5}), Value::dictionary({{"$date", 5}}), Value::data({5})};
  for (const Value& value : values) {
    for (const Value& attribute : attributes) {
      EXPECT_EQ(relation(attribute, value), attribute == value ? "=" : "") << zn::jsonText(attribute);
    }
  }
  EXPECT_TRUE(test(true, "equals", true));
  EXPECT_FALSE(test(true, "equals", false) || test(1, "equals", true) || test(true, "in", Value::array({1, "true"})));
}

TEST(EventCondition, DatesCompareWithDatesSecondsAndIsoText) {
  EXPECT_EQ(relation(Date{10}, json(R"({"$date": 10.5})")), "<");
  EXPECT_EQ(relation(Date{1709251200}, "2024-03-01"), "=");
  EXPECT_EQ(relation(Date{1709296215.25}, "2024-03-01T14:30:15.25+02:00"), "=");
  EXPECT_EQ(relation(Date{1709296215}, "2024-03-01T07:00:15-05:30"), "=");
  EXPECT_EQ(relation(Date{-1}, "1969-12-31T23:59:59Z"), "=");
  EXPECT_EQ(relation(10, json(R"({"$date": 10})")), "") << "a number is no date";
  for (const char* text : {"2023-02-29", "2024-13-01", "2024-3-01", "24-03-01", "2024-03-01T12:30", "2024-03-01 12:30Z",
                           "2024-03-01T24:00Z", "2024-03-01T12:60Z", "2024-03-01T12:30:Z", "2024-03-01T12:30:15.Z",
                           "2024-03-01T12:30+0200", "2024-03-01T12:30Z ", "2024-03-01T", "-024-03-01", "", "soon"}) {
    EXPECT_FALSE(test(Date{1709296200}, "atLeast", text) || test(Date{1709296200}, "less", text)) << text;
  }
  // In bytes these two stand the other way round.
  const Value zones = Value::array({"2024-03-01T02:00+03:00", "2024-03-01T00:00Z"});
  EXPECT_TRUE(test(Date{1709250000}, "between", zones));
}

TEST(EventCondition, LooksIntoTextsAndLists) {
  EXPECT_TRUE(test("red shoes", "contains", "d s") && test("red shoes", "contains", ""));
  EXPECT_FALSE(test("red shoes", "contains", "Red") || test("15", "contains", 5) || test(15, "contains", 5));
  const Value list = Value::array({"red", 5, true, Date{1709251200}, Value::null(), Value::array({"blue"})});
  for (const Value& held : {Value("red"), Value(5.0), Value(true), Value("2024-03-01")}) {
    EXPECT_TRUE(test(list, "contains", held)) << zn::jsonText(held);
  }
  for (const Value& other : {Value("re"), Value(1), Value("blue")}) {
    EXPECT_FALSE(test(list, "contains", other)) << zn::jsonText(other) << ": elements are compared whole";
  }
  EXPECT_TRUE(test("red shoes", "startsWith", "red"));
  EXPECT_FALSE(test("red", "startsWith", "red shoes") || test(list, "startsWith", "red"));
  EXPECT_TRUE(test("b", "in", Value::array({1, "a", "b"})));
  EXPECT_FALSE(test(Value::array({"b"}), "in", Value::array({"b"})));
}

TEST(EventCondition, AMissingAttributeIsOnlyNotEqual) {
  const Value exists = json(R"({"attribute": "a", "is": "exists"})");
  for (const Value& absent : {zn::nil, Value::null()}) {
    for (const char* comparison : {"equals", "greater", "less", "atLeast", "atMost", "contains", "startsWith"}) {
      EXPECT_FALSE(test(absent, comparison, "")) << comparison;
    }
    EXPECT_FALSE(test(absent, "between", Value::array({"", "z"})) || test(absent, "in", Value::array({""})));
    EXPECT_TRUE(test(absent, "notEquals", ""));
    EXPECT_FALSE(satisfies(Value::dictionary({{"a", absent}, {"b", 1}}), exists));
  }
  for (const Value& present : {Value(false), Value(""), Value::array()}) {
    EXPECT_TRUE(satisfies(Value::dictionary({{"a", present}}), exists)) << zn::jsonText(present);
  }
}

TEST(EventCondition, CombinesFilters) {
  const auto isTrue = [](const char* name) {
    return zn::format(R"({"attribute": "%@", "is": "equals", "value": true})", name);
  };
  const Value filter = json(zn::format(R"({"or": [{"and": [%@, {"not": %@}]}, {"not": {"or": [%@, %@]}}]})",
                                       isTrue("a"), isTrue("b"), isTrue("c"), isTrue("d")));
  for (int bits = 0; bits < 16; ++bits) {
    const bool a = bits & 1, b = bits & 2, c = bits & 4, d = bits & 8;
    EXPECT_EQ(satisfies(Value::dictionary({{"a", a}, {"b", b}, {"c", c}, {"d", d}}), filter), (a && !b) || !(c || d))
        << bits;
  }
}

TEST(EventCondition, SaysWhyAndWhereItIsNotUnderstood) {
  EXPECT_EQ(problem("{}"), R"(condition: "eventName" is missing)");
  EXPECT_EQ(problem(R"({"eventName": "E", "fliter": {}})"),
            R"(condition: "fliter" has no place here; a condition has "eventName" and "filter")");
  for (const char* filter : {"[]", "{}", R"({"and": []})", R"({"not": null})", R"({"and": [], "or": []})",
                             R"({"attribute": "a", "equals": 5})"}) {
    EXPECT_TRUE(problemOfFilter(filter).starts_with("filter")) << filter;
  }
  EXPECT_EQ(problemOfFilter(R"({"or": [{"attribute": "a", "is": "exists"}, {"not": {"attribute": "", "is": 1}}]})"),
            R"(filter.or[1].not.attribute: "" is not an attribute's name)");
  EXPECT_TRUE(problemOfFilter(R"({"attribute": "a", "is": "atleast"})")
                  .starts_with("filter.is: \"atleast\" is not a comparison; use one of equals, "));
}

TEST(EventCondition, RefusesValuesThatAComparisonCannotTake) {
  const auto refused = [](const std::string& test) {
    return problemOfFilter(R"({"attribute": "a", "is": )" + test + "}");
  };
  for (const char* test :
       {R"("equals", "value": null)", R"("equals", "value": [1])", R"("equals", "value": {"$date": "soon"})",
        R"("equals", "value": {"$date": 1, "x": 1})", R"("between", "value": [1])", R"("between", "value": [1, "3"])",
        R"("between", "value": [{"$date": 9}, "soon"])", R"("atLeast", "value": true)", R"("startsWith", "value": 5)",
        R"("in", "value": [])", R"("exists", "value": true)"}) {
    EXPECT_NE(refused(test), "") << test;
  }
  EXPECT_EQ(refused(R"("in", "value": ["a", null])"),
            R"(filter.value[1]: null is nothing that "in" compares with; use a number, string, boolean or date)");
  EXPECT_EQ(refused(R"("between", "value": [3, 1])"), "filter.value: the first value of [3,1] is above the second");
  for (const Value& value : {Value(std::nan("")), Value(Date{HUGE_VAL}), Value::data({1})}) {
    const auto condition = ZNEventCondition::initWithDictionary(
        conditionWith(Value::dictionary({{"attribute", "a"}, {"is", "notEquals"}, {"value", value}})));
    EXPECT_NE(condition->problem(), "");
    EXPECT_FALSE(condition->checkIfAttributeConditionSatisfiedForEvent("E", tracked(zn::nil)));
  }
}

TEST(EventCondition, AProblemStaysOneReadableLine) {
  std::string umlauts;
  for (int i = 0; i < 1000; ++i) umlauts += "ä";
  for (const std::string& name : {std::string("new\\nline"), umlauts, "x" + umlauts}) {  // cut inside a character, too
    const std::string text = problemOfFilter(R"({"attribute": "a", "is": ")" + name + R"("})");
    EXPECT_TRUE(text.find('\n') == text.npos && text.size() < 300 && zn::isValidUtf8(text)) << text;
  }
}

TEST(EventCondition, BoundsItsNesting) {
  const auto nested = [](int levels) {
    Value filter = json(R"({"attribute": "a", "is": "exists"})");
    for (int i = 0; i < levels; ++i) {
      filter = i % 2 ? Value::dictionary({{"not", filter}}) : Value::dictionary({{"and", Value::array({filter})}});
    }
    return ZNEventCondition::initWithDictionary(conditionWith(filter));
  };
  EXPECT_TRUE(nested(64)->checkIfAttributeConditionSatisfiedForEvent("E", tracked(json(R"({"a": 1})"))));
  EXPECT_NE(nested(65)->problem().find(": filters nest deeper than 64 levels"), std::string::npos);
}

}  // namespace
