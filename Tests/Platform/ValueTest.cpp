#include "ZNPlatform/Foundation/Value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zn {
namespace {

using Limits = std::numeric_limits<std::int64_t>;

Value nested(int depth) {
  Value value = Value::array();
  for (int i = 1; i < depth; ++i) value = i % 2 ? Value::dictionary({{"k", value}}) : Value::array({value});
  return value;
}

TEST(Value, DictionariesAreSortedAndTheLastOfEqualKeysWins) {
  const Value mixed = Value::dictionary({{"b", 1}, {"a", 2}, {"b", 3}, {"B", 4}, {"", 5}, {"ä", 6}, {"b", 7}});
  EXPECT_EQ(jsonText(mixed), R"({"":5,"B":4,"a":2,"b":7,"ä":6})");
  EXPECT_THROW(Value::dictionary(std::vector<Value::Entry>{{Value(1), Value(2)}}), Exception);
}

TEST(Value, NilIsNeverStored) {
  Value dictionary = Value::dictionary({{"a", 1}, {"a", nil}, {"b", nil}});
  dictionary.setObjectNilHandled(nil, "a");
  EXPECT_EQ(jsonText(dictionary), R"({"a":1})") << "a nil value changes nothing";
  Value array = Value::array({nil, 1});
  for (const Value& each : {Value(), Value::null()}) array.append(each);
  EXPECT_EQ(jsonText(array), "[1,null]");
}

TEST(Value, ValidObjectsAreNeitherMissingNorNull) {
  const Value payload = *parseJson(R"({"aps":{"alert":{"title":"Hi"},"badge":null},"a.b":1,"list":[1]})");
  EXPECT_EQ(payload.validObjectForKeyPath("aps.alert.title"), Value("Hi"));
  EXPECT_EQ(payload.validObjectForKey("a.b"), Value(1)) << "a key may hold a dot, a path splits there";
  for (const char* path : {"aps.badge", "a.b", "aps.badge.deeper", "list.0", "aps.alert.title.x", "aps.", ".aps", ""}) {
    EXPECT_TRUE(payload.validObjectForKeyPath(path).isNil()) << path;
  }
}

TEST(Value, ChangesCopyNoMoreThanTheyMust) {
  Value record = Value::dictionary({{"list", Value::array({1})}, {"name", "old"}});
  const void* own = record.identity();
  record.removeValidObjectForKey("name");
  record.setObjectNilHandled(1, "added");
  EXPECT_EQ(record.identity(), own) << "an unshared dictionary changes in place";
  const Value shared = record;
  record.removeValidObjectForKey("absent");
  EXPECT_EQ(record.identity(), shared.identity()) << "nothing changed, nothing was copied";
  record.removeValidObjectForKey("list");
  EXPECT_EQ(jsonText(shared), R"({"added":1,"list":[1]})");
}

TEST(Value, MayBeChangedFromWithinItself) {
  Value array = Value::array({"first"});
  array.append(array);
  array.append(array.elements()[0]);
  EXPECT_EQ(jsonText(array), R"(["first",["first"],"first"])");

  Value dictionary = Value::dictionary({{"a", "b"}});
  const Value other = dictionary;
  dictionary.setObjectNilHandled(dictionary, dictionary["a"].string());
  EXPECT_EQ(jsonText(dictionary), R"({"a":"b","b":{"a":"b"}})");
  dictionary.setObjectNilHandled(1, dictionary.entries()[0].name());
  dictionary.removeValidObjectForKey(dictionary.entries()[0].name());
  dictionary = dictionary["b"];
  EXPECT_EQ(dictionary, other) << "the parent goes while its child is assigned";
}

TEST(Value, MutabilityIsAMarkThatCostsNothing) {
  const Value plain = Value::dictionary({{"a", 1}});
  Value copy = plain.mutableCopy();
  EXPECT_TRUE(copy.isMutable() && !plain.isMutable() && copy.identity() == plain.identity() && copy == plain);
  copy.setObjectNilHandled(2, "a");
  EXPECT_TRUE(copy.isMutable() && !copy.copy().isMutable()) << "also after its storage was copied";
}

TEST(Value, EqualValuesHaveEqualHashes) {
  const double nan = std::nan("");
  const std::int64_t beyond = (std::int64_t{1} << 53) + 1;  // no double is equal to it
  const Value ordered = Value::dictionary({{"a", 1}, {"b", 2}});
  const std::pair<Value, Value> alike[] = {{1, 1.0},
                                           {1, true},
                                           {0, -0.0},
                                           {nan, -nan},
                                           {Limits::min(), -0x1p63},
                                           {beyond - 1, 0x1p53},
                                           {Value::array({1, nan}), Value::array({1.0, nan}).mutableCopy()},
                                           {ordered, Value::dictionary({{"b", 2.0}, {"a", true}})}};
  for (const auto& [a, b] : alike) {
    EXPECT_TRUE(a == b && a.hash() == b.hash()) << jsonText(a) << " and " << jsonText(b);
  }
  EXPECT_NE(Value(), Value::null());
  const Value different = decodeTaggedValues(*parseJson(
      R"([9007199254740993, 9007199254740992.0, 9223372036854775807, 9223372036854775808, 0.5, 1, "1", "", null,
          {"$date": 1}, {"$data": "31"}, {"$data": ""}, [1], [], {}, {"a": 1, "b": 2}, {"a": 2, "b": 1}])"));
  for (const Value& a : different.elements()) {
    for (const Value& b : different.elements()) EXPECT_EQ(a == b, &a == &b) << jsonText(a) << " and " << jsonText(b);
  }
}

TEST(Value, ConvertsAsFoundationDoes) {
  const double inf = std::numeric_limits<double>::infinity();
  const std::tuple<Value, std::int64_t, double, bool> table[] = {
      {nil, 0, 0, false},
      {-2.9, -2, -2.9, true},
      {-1e300, Limits::min(), -1e300, true},
      {" \t\n42abc", 42, 42, true},
      {"-7.9e1x", -7, -79, true},
      {".5", 0, 0.5, false},
      {"1e", 1, 1, true},
      {"inf", 0, 0, false},
      {"9223372036854775808", Limits::max(), 0x1p63, true},
      {"-99999999999999999999999", Limits::min(), -1e23, true},
      {"-1e99999999999999999999", -1, -inf, true},
      {std::string(400, '9'), Limits::max(), inf, true},
      {" yes", 0, 0, true},
      {"-Y", 0, 0, false}};
  for (const auto& [value, integer, real, boolean] : table) {
    EXPECT_EQ(value.longLongValue(), integer) << jsonText(value);
    EXPECT_EQ(value.doubleValue(), real) << jsonText(value);
    EXPECT_EQ(value.boolValue(), boolean) << jsonText(value);
  }
  EXPECT_EQ(Value(std::nan("")).longLongValue(), 0);
  EXPECT_EQ(Value("3000000000").intValue(), std::numeric_limits<int>::max());
}

TEST(Value, LengthCountsUtf16Units) {
  EXPECT_EQ(Value("aä€\U0001F600").length(), 5u) << "an emoji is two units";
  EXPECT_EQ(Value("\xE2\x82").length(), 2u) << "ill-formed bytes count one each";
  EXPECT_EQ(Value("\xED\xA0\x80").length(), 3u) << "a surrogate is ill-formed in UTF-8";
}

TEST(Value, NestsToItsLimitAndNotDeeper) {
  const Value deepest = nested(Value::maximumDepth);
  EXPECT_EQ(deepest, nested(Value::maximumDepth)) << "walks reach the bottom";
  EXPECT_EQ(deepest.hash(), nested(Value::maximumDepth).hash());
  Value array = Value::array({1});
  Value dictionary = Value::dictionary({{"k", 1}});
  EXPECT_THROW(Value::array({deepest}), Exception);
  EXPECT_THROW(Value::dictionary({{"k", deepest}}), Exception);
  EXPECT_THROW(array.append(deepest), Exception);
  EXPECT_THROW(dictionary.setObjectNilHandled(deepest, "k"), Exception);
  EXPECT_EQ(jsonText(array) + jsonText(dictionary), R"([1]{"k":1})") << "a refused change changes nothing";
}

TEST(Value, DepthFollowsChanges) {
  Value value = Value::dictionary({{"a", nested(5)}, {"b", nested(3)}});
  EXPECT_EQ(value.depth(), 6);
  value.setObjectNilHandled(1, "a");
  EXPECT_EQ(value.depth(), 4);
  value.setObjectNilHandled(nested(9), "c");
  EXPECT_EQ(value.depth(), 10);
  value.removeValidObjectForKey("c");
  EXPECT_EQ(value.depth(), 4);
}

}  // namespace
}  // namespace zn
