#include "ZNPlatform/Foundation/Json.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <cmath>

#include "ZNPlatform/Foundation/Exception.h"
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
  EXPECT_TRUE(value["i"].type() == Value::Type::integer && value["t"].type() == Value::Type::boolean);
  EXPECT_EQ(jsonText(value), R"({"f":false,"i":-3,"l":[1,[],{}],"n":null,"o":{"k":[]},"r":2.5,"s":"a","t":true})");
  EXPECT_FALSE(value.isMutable());
  EXPECT_EQ(rewritten("\xEF\xBB\xBF null"), "null") << "a byte order mark is skipped";
  EXPECT_EQ(rewritten(R"({"b":1,"a":{"x":1},"b":[2],"a":null})"), R"({"a":null,"b":[2]})") << "the last one wins";
}

TEST(JsonReader, ReadsNumbersExactly) {
  EXPECT_EQ(rewritten("[9223372036854775807,-9223372036854775808]"), "[9223372036854775807,-9223372036854775808]");
  EXPECT_EQ(parseJson("9223372036854775808")->real(), 0x1p63) << "beyond 64 bits a real";
  EXPECT_EQ(parseJson("1e-400")->real(), 0);
  EXPECT_EQ(parseJson("1.0")->type(), Value::Type::real);
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

TEST(JsonReader, StopsAtTheDepthLimit) {
  for (const bool objects : {false, true}) {
    std::string text = "1";
    for (int i = 0; i < Value::maximumReadDepth; ++i) text = objects ? "{\"k\":" + text + "}" : "[" + text + "]";
    ASSERT_TRUE(parseJson(text));
    EXPECT_EQ(parseJson(text)->depth(), Value::maximumReadDepth);
    EXPECT_NE(errorOf("[" + text + "]").find("nests too deeply"), std::string::npos);
  }
  EXPECT_EQ(errorOf("\n" + std::string(1'000'000, '[')), "line 2, column 513: the value nests too deeply");
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

TEST(JsonWriter, EscapesOnlyWhatMustBe) {
  EXPECT_EQ(jsonText(std::string("\0\x01\x07\b\t\n\x0B\f\r\x0E\x1F\"\\/\x7F<ä", 18)),
            "\"\\u0000\\u0001\\u0007\\b\\t\\n\\u000b\\f\\r\\u000e\\u001f\\\"\\\\/\x7F<ä\"");
  EXPECT_EQ(jsonText(Value::dictionary({{"a\"\xFF", "x\xE2\x82y\U0001F600"}})),
            "{\"a\\\"\uFFFD\":\"x\uFFFDy\U0001F600\"}");
}

TEST(JsonWriter, WritesStylesAndSpecialValues) {
  const Value value = Value::dictionary({{"b", Value::array({1, "x", Value::array(), Value::dictionary()})},
                                         {"when", Date{1.5}},
                                         {"raw", Value::data({0, 0xAB})}});
  EXPECT_EQ(jsonText(value, JsonStyle::spaced),
            R"({"b": [1, "x", [], {}], "raw": {"$data": "00ab"}, "when": {"$date": 1.5}})");
  EXPECT_EQ(jsonText(Value::array({std::nan(""), HUGE_VAL, Date{-HUGE_VAL}})), R"([null,null,{"$date":null}])");
  EXPECT_EQ(jsonText(Value::array({1.0, -0.0, 1e16, (std::int64_t{1} << 53) + 1})), "[1,0,1e16,9007199254740993]");
}

TEST(JsonTags, BecomeDatesAndDataAndBack) {
  const Value value =
      *parseJson(R"({"list":[{"$date":12.5},{"x":{"$data":"00Ff"}}],"other":{"$date":1,"more":2},"text":"$date"})");
  const Value decoded = decodeTaggedValues(value);
  EXPECT_EQ(decoded["list"], Value::array({Date{12.5}, Value::dictionary({{"x", Value::data({0, 0xFF})}})}));
  EXPECT_EQ(decoded["other"], value["other"]) << "a tag stands alone";
  EXPECT_EQ(decodeTaggedValues(*parseJson(jsonText(decoded))), decoded);
  for (const char* malformed :
       {R"({"$date":"1"})", R"([{"$date":true}])", R"({"a":{"$data":"abc"}})", R"({"$data":"0g"})", R"({"$data":1})"}) {
    EXPECT_THROW(decodeTaggedValues(*parseJson(malformed)), Exception) << malformed;
  }
}

TEST(Utf8, ReplacesEveryMaximalSubpartOnce) {
  const std::string r = "\xEF\xBF\xBD";
  const std::pair<std::string, std::string> table[] = {
      {"plain \xC3\xA4 \xF4\x8F\xBF\xBF", "plain \xC3\xA4 \xF4\x8F\xBF\xBF"},
      {"\xC0\xAF", r + r},
      {"\xE0\x9F\xBF", r + r + r},
      {"\xED\xA0\x80", r + r + r},
      {"\xF4\x90\x80\x80", r + r + r + r},
      {"\xE2\x82(", r + "("},
      {"\xF0\x9F\x98\xC3\xA4", r + "\xC3\xA4"},
      {"z\xF1\x80\x80\xE1\x80\xC2z\x80z", "z" + r + r + r + "z" + r + "z"},
  };
  for (const auto& [text, expected] : table) {
    EXPECT_EQ(sanitizedUtf8(text), expected);
    EXPECT_EQ(isValidUtf8(text), text == expected) << expected;
    EXPECT_TRUE(isValidUtf8(expected));
  }
}

}  // namespace
}  // namespace zn
