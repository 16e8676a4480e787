#include "ZNPlatform/Foundation/Json.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cmath>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zn {
namespace {

std::string errorOf(std::string_view text, JsonReadOptions options = {}) {
  JsonError error;
  const auto value = parseJson(text, &error, options);
  return value ? "read: " + jsonText(*value) : error.text;
}

std::string rewritten(std::string_view text) { return errorOf(text).substr(6); }

TEST(JsonReader, ReadsEveryKindOfValue) {
  const Value value =
      *parseJson(R"( {"s":"a","i":-3,"r":2.5,"t":true,"f":false,"n":null,"l":[1,[],{}],"o":{"k":[]}} )");
  EXPECT_EQ(value["i"].type(), Value::Type::integer);
  EXPECT_EQ(value["r"].type(), Value::Type::real);
  EXPECT_EQ(value["t"].type(), Value::Type::boolean);
  EXPECT_TRUE(value["n"].isNull());
  EXPECT_EQ(jsonText(value), R"({"f":false,"i":-3,"l":[1,[],{}],"n":null,"o":{"k":[]},"r":2.5,"s":"a","t":true})");
  EXPECT_EQ(value.depth(), 3);
  EXPECT_FALSE(value.isMutable());
  for (const char* scalar : {"1", "\"x\"", "null", "true", "[]", "{}"}) EXPECT_EQ(rewritten(scalar), scalar);
  EXPECT_EQ(rewritten("\xEF\xBB\xBF[1]"), "[1]") << "a byte order mark is skipped";
}

TEST(JsonReader, LastOfEqualKeysWins) {
  EXPECT_EQ(rewritten(R"({"b":1,"a":{"x":1},"b":[2],"a":3})"), R"({"a":3,"b":[2]})");
  EXPECT_EQ(rewritten(R"({"a":1,"a":null})"), R"({"a":null})") << "null is a value";
}

TEST(JsonReader, ReadsNumbersExactly) {
  EXPECT_EQ(parseJson("9223372036854775807")->integer(), INT64_MAX);
  EXPECT_EQ(parseJson("-9223372036854775808")->integer(), INT64_MIN);
  EXPECT_EQ(parseJson("9223372036854775808")->real(), 0x1p63) << "beyond 64 bits a real";
  EXPECT_EQ(parseJson("-9223372036854775809")->real(), -0x1p63);
  EXPECT_EQ(parseJson("123456789012345678901234567890")->real(), 123456789012345678901234567890.0);
  EXPECT_EQ(parseJson("1e-400")->real(), 0);
  EXPECT_EQ(parseJson("1.0")->type(), Value::Type::real);
  EXPECT_EQ(parseJson("0.1")->real(), 0.1);
}

TEST(JsonReader, ReadsEscapes) {
  const Value value = *parseJson(R"("\"\\\/\b\f\n\r\tA\u00e4\u20AC\ud83d\ude00\u0000")");
  EXPECT_EQ(value.string(), std::string_view("\"\\/\b\f\n\r\tA\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\0", 19));
}

TEST(JsonReader, SaysWhatIsWrongAndWhere) {
  const std::pair<std::string, const char*> table[] = {
      {"", "line 1, column 1: the text is empty"},
      {"[1,}", "line 1, column 4: a value is missing"},
      {"{\"a\":1,}", "line 1, column 8: a key in double quotes is missing"},
      {"{\"a\" 5}", "line 1, column 6: ':' is missing after the key"},
      {"{\"a\":1\n \"bcd\":2}", "line 2, column 2: ',' or '}' is missing"},
      {"[1 \"a\\\"b\"]", "line 1, column 4: ',' or ']' is missing"},
      {"{\"a\"", "line 1, column 5: the text ends too early"},
      {"[1] 22", "line 1, column 5: something follows after the end of the value"},
      {"{\"a\": maybe}", "line 1, column 7: unexpected characters"},
      {"1.", "line 1, column 3: malformed number"},
      {"[\n 1,\n -1e400]", "line 3, column 2: the number is too large"},
      {"[\"abc", "line 1, column 6: the string is not closed"},
      {"\"\\x\"", "line 1, column 3: unknown escape in a string"},
      {"\"\\u12g4\"", "line 1, column 6: \\u needs four hex digits"},
      {"\"a\nb\"", "line 1, column 3: a control character in a string must be escaped"},
      {"\"\xC3(\"", "line 1, column 3: the string is not valid UTF-8"},
      {std::string("[1]\0[2]", 7), "line 1, column 4: unexpected NUL character"},
      {std::string("\"a\0b\"", 5), "line 1, column 3: unexpected NUL character"},
      {"// no\n1", "line 1, column 1: unexpected characters"},
  };
  for (const auto& [text, error] : table) EXPECT_EQ(errorOf(text), error) << text;
  EXPECT_FALSE(parseJson("[")) << "also without a place for the error";
}

TEST(JsonReader, HalfAnEscapedPairIsReplacedAndTheRestKept) {
  EXPECT_EQ(parseJson(R"(["cut \ud83d", "\ude00\ud83d\ude00", "\\ud83d", {"\uD83D\u0041": 1}])"),
            parseJson(R"(["cut \ufffd", "\ufffd😀", "\\ud83d", {"\ufffdA": 1}])"));
  EXPECT_EQ(errorOf("[\"\\ud83d\", x]"), "line 1, column 12: unexpected characters") << "places stay as they were";
}

TEST(JsonReader, CommentsCountAsBlanksWhereAllowed) {
  const JsonReadOptions options{.allowComments = true};
  EXPECT_EQ(errorOf("// head\n{/* a\n b */ \"k\": \"//no\" // end\n}//", options), "read: {\"k\":\"//no\"}");
  EXPECT_EQ(errorOf("[1 /* open", options), "line 1, column 11: the comment is not closed");
  EXPECT_EQ(errorOf("// only\n", options), "line 2, column 1: the text ends too early");
}

std::string nestedText(int depth, bool objects) {
  std::string text;
  for (int i = 0; i < depth; ++i) text += objects ? "{\"k\":" : "[";
  text += "1";
  return text + std::string(static_cast<std::size_t>(depth), objects ? '}' : ']');
}

TEST(JsonReader, StopsAtTheDepthLimit) {
  for (const bool objects : {false, true}) {
    const auto deepest = parseJson(nestedText(Value::maximumReadDepth, objects));
    ASSERT_TRUE(deepest);
    EXPECT_EQ(deepest->depth(), Value::maximumReadDepth);
  }
  EXPECT_EQ(errorOf("[\n" + nestedText(Value::maximumReadDepth, false) + "]"),
            "line 2, column 512: the value nests too deeply");

  const std::string hostile(1'000'000, '[');
  EXPECT_EQ(errorOf(hostile), "line 1, column 513: the value nests too deeply");
}

std::size_t heapInUse() {
  const auto heap = ::mallinfo2();
  return heap.uordblks + heap.hblkhd;
}

// What is counted must not be less than what the allocator gave away.
TEST(JsonReader, TakesNoMoreMemoryThanIsAllowed) {
  for (const char* element : {"[]", "{}", "[[[1]]]", "1", "\"\"", "\"x\"", "\"fifteen letters\"", R"({"a":1})",
                              R"({"a":{"b":[]},"c":"\u20ac"})", R"("half \ud83d")"}) {
    std::string text = "[0";
    while (text.size() < 100'000) text += std::string(",") + element;
    text += "]";
    const std::size_t before = heapInUse();
    std::optional<Value> value;
    JsonError error;
    std::size_t allowed = text.size();
    while (!(value = parseJson(text, &error, {.maximumMemory = allowed}))) {
      ASSERT_TRUE(error.isTooLarge) << error.text;
      allowed += text.size() / 2;
    }
    EXPECT_LE(heapInUse() - before, allowed) << element;
    EXPECT_GT(allowed, text.size()) << element;
  }
}

// A reader of records must cope with as many as come: keys are cached in a table of fixed size.
TEST(JsonReader, KeepsManyDifferentKeysApart) {
  Value records = Value::array();
  for (int record = 0; record < 3; ++record) {
    Value dictionary = Value::dictionary();
    for (int key = 0; key < 1000; ++key) dictionary.setObjectNilHandled(record, "key" + std::to_string(key));
    records.append(dictionary);
  }
  EXPECT_EQ(parseJson(jsonText(records)), records);
}

TEST(JsonWriter, EscapesOnlyWhatMustBe) {
  std::string controls;
  for (char c = 1; c < 0x20; ++c) controls += c;
  EXPECT_EQ(
      jsonText(Value(controls + "\"\\/\x7F<\xC3\xA4" + std::string(1, '\0'))),
      "\"\\u0001\\u0002\\u0003\\u0004\\u0005\\u0006\\u0007\\b\\t\\n\\u000b\\f\\r\\u000e\\u000f\\u0010\\u0011\\u0012"
      "\\u0013\\u0014\\u0015\\u0016\\u0017\\u0018\\u0019\\u001a\\u001b\\u001c\\u001d\\u001e\\u001f\\\"\\\\/\x7F<"
      "\xC3\xA4\\u0000\"");
  EXPECT_EQ(jsonText(Value::dictionary({{"a\"\xFF", "x\xE2\x82y\xF0\x9F\x98\x80"}})),
            "{\"a\\\"\xEF\xBF\xBD\":\"x\xEF\xBF\xBDy\xF0\x9F\x98\x80\"}");
}

TEST(JsonWriter, WritesStylesAndSpecialValues) {
  const Value value = Value::dictionary({{"b", Value::array({1, "x", Value::array(), Value::dictionary()})},
                                         {"a", Value::null()},
                                         {"when", Date{1.5}},
                                         {"raw", Value::data({0, 0xAB})}});
  EXPECT_EQ(jsonText(value), R"({"a":null,"b":[1,"x",[],{}],"raw":{"$data":"00ab"},"when":{"$date":1.5}})");
  EXPECT_EQ(jsonText(value, JsonStyle::spaced),
            R"({"a": null, "b": [1, "x", [], {}], "raw": {"$data": "00ab"}, "when": {"$date": 1.5}})");
  EXPECT_EQ(jsonText(nil), "null");
  EXPECT_EQ(jsonText(Value::array({std::nan(""), HUGE_VAL, Date{-HUGE_VAL}})), R"([null,null,{"$date":null}])");
  EXPECT_EQ(jsonText(Value::array({1.0, -0.0, 1e16, (std::int64_t{1} << 53) + 1})), "[1,0,1e16,9007199254740993]");
}

TEST(JsonTags, BecomeDatesAndDataAndBack) {
  const Value value =
      *parseJson(R"({"list":[{"$date":12.5},{"x":{"$data":"00Ff"}}],"other":{"$date":1,"more":2},"text":"$date"})");
  const Value decoded = decodeTaggedValues(value);
  EXPECT_EQ(decoded["list"].elements()[0], Value(Date{12.5}));
  EXPECT_EQ(decoded["list"].elements()[1]["x"], Value::data({0, 0xFF}));
  EXPECT_EQ(decoded["other"], value["other"]) << "a tag stands alone";
  EXPECT_EQ(decodeTaggedValues(*parseJson(jsonText(decoded))), decoded);
  for (const char* malformed : {R"({"$date":"1"})", R"([{"$date":true}])", R"({"a":{"$data":"abc"}})",
                                R"({"$data":"0g"})", R"({"$data":1})", R"({"$date":null})"}) {
    EXPECT_THROW(decodeTaggedValues(*parseJson(malformed)), Exception) << malformed;
  }
}

TEST(Utf8, ReplacesEveryMaximalSubpartOnce) {
  const std::string r = "\xEF\xBF\xBD";
  const std::pair<std::string, std::string> table[] = {
      {"plain \xC3\xA4 \xF4\x8F\xBF\xBF", "plain \xC3\xA4 \xF4\x8F\xBF\xBF"},
      {"\x80", r},
      {"\xC0\xAF", r + r},
      {"\xE0\x9F\xBF", r + r + r},
      {"\xED\xA0\x80", r + r + r},
      {"\xF4\x90\x80\x80", r + r + r + r},
      {"\xF5\x80", r + r},
      {"\xE2\x82", r},
      {"\xE2\x82(", r + "("},
      {"\xF0\x9F\x98", r},
      {"\xF0\x9F\x98\xC3\xA4", r + "\xC3\xA4"},
      {"a\xF1\x80\x80\xE1\x80\xC2"
       "b\x80"
       "c",
       "a" + r + r + r + "b" + r + "c"},
      {"\xFE\xFF", r + r},
  };
  for (const auto& [text, expected] : table) {
    EXPECT_EQ(sanitizedUtf8(text), expected);
    EXPECT_EQ(isValidUtf8(text), text == expected)
        << hexText({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    EXPECT_TRUE(isValidUtf8(expected));
  }
}

}  // namespace
}  // namespace zn
