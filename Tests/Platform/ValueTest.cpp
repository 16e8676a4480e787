#include "ZNPlatform/Foundation/Value.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <thread>

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

std::string keysOf(const Value& dictionary) {
  std::string keys;
  for (const Value::Entry& entry : dictionary.entries()) keys.append(entry.name()).append(" ");
  return keys;
}

TEST(Value, DictionariesAreSortedAndTheLastOfEqualKeysWins) {
  const Value mixed = Value::dictionary({{"b", 1}, {"a", 2}, {"b", 3}, {"B", 4}, {"", 5}, {"\xC3\xA4", 6}, {"b", 7}});
  EXPECT_EQ(keysOf(mixed), " B a b \xC3\xA4 ");
  EXPECT_EQ(mixed["b"], Value(7));
  EXPECT_EQ(Value::dictionary({{"a", 1}, {"a", 2}})["a"], Value(2)) << "ascending but for a repeated key";

  const Value replaced = Value::dictionary({{"a", Value::array({Value::array()})}, {"a", 1}});
  EXPECT_EQ(replaced, Value::dictionary({{"a", 1}})) << "what was replaced leaves no trace";

  Value grown = Value::dictionary();
  for (const char* key : {"m", "z", "a", "n", "m"}) grown.setObjectNilHandled(key, key);
  EXPECT_EQ(keysOf(grown), "a m n z ");
  EXPECT_THROW(Value::dictionary(std::vector<Value::Entry>{{Value(1), Value(2)}}), Exception);
}

TEST(Value, NilIsNeverStored) {
  EXPECT_EQ(Value::array({1, nil, 2}), Value::array({1, 2}));
  EXPECT_EQ(Value::dictionary({{"a", 1}, {"a", nil}, {"b", nil}}), Value::dictionary({{"a", 1}}));
  Value dictionary = Value::dictionary({{"a", 1}});
  dictionary.setObjectNilHandled(nil, "a");
  EXPECT_EQ(dictionary["a"], Value(1)) << "a nil value changes nothing";
  Value array = Value::array();
  array.append(nil);
  EXPECT_TRUE(array.isEmpty());
  array.append(Value::null());
  EXPECT_EQ(array.size(), 1u) << "null is a value";
  EXPECT_EQ(dictionary.size(), dictionary.elements().size()) << "entries are no elements";
  EXPECT_FALSE(dictionary.isEmpty());
}

TEST(Value, ValidObjectsAreNeitherMissingNorNull) {
  const Value payload = *parseJson(R"({"aps":{"alert":{"title":"Hi"},"badge":null},"a.b":1,"list":[1]})");
  EXPECT_EQ(payload.validObjectForKeyPath("aps.alert.title"), Value("Hi"));
  EXPECT_TRUE(payload["aps"]["badge"].isNull());
  EXPECT_TRUE(payload.validObjectForKeyPath("aps.badge").isNil());
  EXPECT_EQ(payload.validObjectForKey("a.b"), Value(1)) << "a key may hold a dot, a path splits there";
  for (const char* path :
       {"a.b", "aps.badge.deeper", "list.0", "aps.alert.title.x", "aps.", ".aps", "", "aps..alert"}) {
    EXPECT_TRUE(payload.validObjectForKeyPath(path).isNil()) << path;
  }
}

TEST(Value, ChangesDoNotReachCopies) {
  Value record = Value::dictionary({{"list", Value::array({1})}, {"name", "old"}});
  const Value snapshot = record;
  Value list = record["list"];
  EXPECT_EQ(snapshot.identity(), record.identity()) << "copies share";

  record.setObjectNilHandled("new", "name");
  list.append(2);
  EXPECT_EQ(jsonText(snapshot), R"({"list":[1],"name":"old"})");
  EXPECT_EQ(jsonText(record), R"({"list":[1],"name":"new"})");
  EXPECT_EQ(snapshot["list"].identity(), record["list"].identity()) << "only what changed was copied";

  const void* own = record.identity();
  record.setObjectNilHandled("newest", "name");
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
  EXPECT_TRUE(copy.isMutable());
  EXPECT_FALSE(plain.isMutable());
  EXPECT_EQ(copy.identity(), plain.identity());
  EXPECT_EQ(copy, plain);
  EXPECT_EQ(copy.hash(), plain.hash());
  copy.setObjectNilHandled(2, "a");
  EXPECT_TRUE(copy.isMutable()) << "also after its storage was copied";
  EXPECT_FALSE(copy.copy().isMutable());
  EXPECT_FALSE(nil.mutableCopy().isMutable());
  EXPECT_TRUE(nil.mutableCopy().isNil());
  EXPECT_FALSE(Value(1).mutableCopy().isMutable());
  EXPECT_EQ(Value::array({1}).mutableDictionaryCopy(), Value::dictionary());
  EXPECT_TRUE(Value().mutableDictionaryCopy().isMutable());
  EXPECT_EQ(plain.mutableDictionaryCopy(), plain);
}

TEST(Value, EqualValuesHaveEqualHashes) {
  const double nan = std::nan("");
  const std::vector<std::vector<Value>> classes = {
      {1, 1.0, true},
      {0, 0.0, -0.0, false},
      {nan, -nan},
      {Date{0}, Date{-0.0}},
      {Limits::min(), -0x1p63},
      {std::int64_t{1} << 53, 0x1p53},
      {(std::int64_t{1} << 53) + 1},
      {Limits::max()},
      {0x1p63, std::uint64_t{1} << 63},
      {0.5},
      {std::numeric_limits<double>::infinity()},
      {"1"},
      {""},
      {Value()},
      {Value::null()},
      {Value::data({})},
      {Value::data({'1'})},
      {Date{1}},
      {Value::array()},
      {Value::dictionary()},
      {Value::array({1, nan}), Value::array({1.0, nan}).mutableCopy()},
      {Value::array({nan, 1})},
      {Value::array({Value::array()})},
      {Value::dictionary({{"a", 1}, {"b", 2}}), Value::dictionary({{"b", 2.0}, {"a", true}})},
      {Value::dictionary({{"a", 2}, {"b", 1}})},
      {Value::dictionary({{"a", 1}})},
  };
  for (std::size_t i = 0; i < classes.size(); ++i) {
    for (const Value& a : classes[i]) {
      for (std::size_t j = 0; j < classes.size(); ++j) {
        for (const Value& b : classes[j]) {
          EXPECT_EQ(a == b, i == j) << i << " and " << j << ": " << jsonText(a) << " and " << jsonText(b);
          if (i != j) continue;
          EXPECT_EQ(a.hash(), b.hash()) << jsonText(a) << " and " << jsonText(b);
        }
      }
    }
  }
}

struct Conversion {
  Value value;
  std::int64_t integer;
  double real;
  bool boolean;
};

TEST(Value, ConvertsAsFoundationDoes) {
  const double inf = std::numeric_limits<double>::infinity();
  const Conversion table[] = {
      {nil, 0, 0, false},
      {true, 1, 1, true},
      {-2.9, -2, -2.9, true},
      {0.25, 0, 0.25, true},
      {0x1p63, Limits::max(), 0x1p63, true},
      {-1e300, Limits::min(), -1e300, true},
      {" \t\n42abc", 42, 42, true},
      {"-7.9e1x", -7, -79, true},
      {"+-7", 0, 0, false},
      {".5", 0, 0.5, false},
      {"1e", 1, 1, true},
      {"1,5", 1, 1, true},
      {"0x10", 0, 0, false},
      {"inf", 0, 0, false},
      {"9223372036854775808", Limits::max(), 0x1p63, true},
      {"-99999999999999999999999", Limits::min(), -1e23, true},
      {"1e400", 1, inf, true},
      {"-1e99999999999999999999", -1, -inf, true},
      {"0.00001e310", 0, 1e305, false},
      {"0." + std::string(400, '0') + "1", 0, 0, false},
      {std::string(400, '9'), Limits::max(), inf, true},
      {" yes", 0, 0, true},
      {"-Y", 0, 0, false},
      {"-003", -3, -3, true},
  };
  for (const Conversion& row : table) {
    EXPECT_EQ(row.value.longLongValue(), row.integer) << jsonText(row.value);
    EXPECT_EQ(row.value.doubleValue(), row.real) << jsonText(row.value);
    EXPECT_EQ(row.value.boolValue(), row.boolean) << jsonText(row.value);
  }
  EXPECT_EQ(Value(std::nan("")).longLongValue(), 0);
  EXPECT_EQ(Value("3000000000").intValue(), std::numeric_limits<int>::max());
  EXPECT_EQ(Value(-3e9).intValue(), std::numeric_limits<int>::min());
  EXPECT_EQ(Value("-12").intValue(), -12);
}

TEST(Value, LengthCountsUtf16Units) {
  EXPECT_EQ(nil.length(), 0u);
  EXPECT_EQ(Value("").length(), 0u);
  EXPECT_EQ(Value("a\xC3\xA4\xE2\x82\xAC").length(), 3u);
  EXPECT_EQ(Value("\xF0\x9F\x98\x80!").length(), 3u) << "an emoji is two units";
  EXPECT_EQ(Value("\xE2\x82").length(), 2u) << "ill-formed bytes count one each";
  EXPECT_EQ(Value("\xED\xA0\x80").length(), 3u) << "a surrogate is ill-formed in UTF-8";
  EXPECT_EQ(Value::data({1, 2, 3}).length(), 3u);
}

TEST(Value, NestsToItsLimitAndNotDeeper) {
  const Value deepest = nested(Value::maximumDepth);
  EXPECT_EQ(deepest.depth(), Value::maximumDepth);
  EXPECT_THROW(Value::array({deepest}), Exception);
  EXPECT_THROW(Value::dictionary({{"k", deepest}}), Exception);

  Value array = Value::array({1});
  Value dictionary = Value::dictionary({{"k", 1}});
  EXPECT_THROW(array.append(deepest), Exception);
  EXPECT_THROW(dictionary.setObjectNilHandled(deepest, "k"), Exception);
  EXPECT_EQ(array, Value::array({1})) << "a refused change changes nothing";
  EXPECT_EQ(dictionary, Value::dictionary({{"k", 1}}));

  EXPECT_EQ(deepest, nested(Value::maximumDepth)) << "walks reach the bottom";
  EXPECT_EQ(deepest.hash(), nested(Value::maximumDepth).hash());
}

TEST(Value, DepthFollowsChanges) {
  Value value = Value::dictionary({{"a", nested(5)}, {"b", nested(3)}});
  EXPECT_EQ(value.depth(), 6);
  value.setObjectNilHandled(1, "a");
  EXPECT_EQ(value.depth(), 4);
  value.setObjectNilHandled(nested(9), "c");
  EXPECT_EQ(value.depth(), 10);
  value.setObjectNilHandled(nested(8), "c");
  EXPECT_EQ(value.depth(), 9);
  value.removeValidObjectForKey("c");
  EXPECT_EQ(value.depth(), 4);
  value.removeValidObjectForKey("b");
  EXPECT_EQ(value, Value::dictionary({{"a", 1}}));
  EXPECT_EQ(value.depth(), 1);
}

}  // namespace
}  // namespace zn
