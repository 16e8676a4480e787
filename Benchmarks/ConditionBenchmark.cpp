// What an event condition costs: reading it once for each campaign, and checking it for each event.

#include <benchmark/benchmark.h>

#include <string>

#include "ZNAnalytics/ZNEventCondition.h"
#include "ZNPlatform/Foundation/Json.h"

namespace {

using zn::Value;

Value fourTests() {
  return *zn::parseJson(R"({"eventName": "ADDED_TO_CART",
      "filter": {"and": [{"attribute": "price", "is": "atLeast", "value": 50},
                         {"attribute": "category", "is": "in", "value": ["shoes", "shirts", "hats"]},
                         {"or": [{"attribute": "member", "is": "equals", "value": true},
                                 {"attribute": "coupon", "is": "startsWith", "value": "SPRING"}]}]}})");
}

/// Every one of the four tests is made; the attribute of the last stands among `others` further ones.
Value trackedAttributes(std::int64_t others) {
  Value attributes = *zn::parseJson(
      R"({"price": 64.95, "category": "hats", "member": false, "coupon": "SPRING-2024", "currency": "EUR"})");
  for (std::int64_t i = 0; i < others; ++i) attributes.setObjectNilHandled(i, "attribute-" + std::to_string(i));
  return Value::dictionary({{"EVENT_ATTRS", Value::dictionary()}, {"EVENT_ATTRS_CUST", attributes}});
}

void CheckFourTests(benchmark::State& state) {
  const auto condition = ZNEventCondition::initWithDictionary(fourTests());
  const Value name = "ADDED_TO_CART";
  const Value attributes = trackedAttributes(state.range(0));
  for (auto _ : state) {
    if (!condition->checkIfAttributeConditionSatisfiedForEvent(name, attributes)) state.SkipWithError("not satisfied");
  }
}

void CheckOtherEvent(benchmark::State& state) {
  const auto condition = ZNEventCondition::initWithDictionary(fourTests());
  const Value name = "ADDED_TO_LIST";
  const Value attributes = trackedAttributes(0);
  for (auto _ : state) {
    if (condition->checkIfAttributeConditionSatisfiedForEvent(name, attributes)) state.SkipWithError("satisfied");
  }
}

void ReadFourTests(benchmark::State& state) {
  const Value dictionary = fourTests();
  for (auto _ : state) {
    if (!ZNEventCondition::initWithDictionary(dictionary)->problem().empty()) state.SkipWithError("not understood");
  }
}

BENCHMARK(CheckFourTests)->Arg(0)->Arg(100);
BENCHMARK(CheckOtherEvent);
BENCHMARK(ReadFourTests);

}  // namespace
