#include "ZNPlatform/Foundation/PropertyList.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <limits>
#include <sstream>
#include <utility>
#include <vector>

#include "Tests/Support/RawPropertyList.h"
#include "Tests/Support/TestHome.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Format.h"

namespace {

using zn::binaryPropertyList;
using zn::Data;
using zn::parsePropertyList;
using zn::Value;
using zn::test::bytesOf;
using zn::test::outputOfPython;
using zn::test::RawPropertyList;

std::optional<Value> parseText(std::string_view text, std::string* error = nullptr) {
  return parsePropertyList(bytesOf(text), error);
}

std::optional<Value> parseElement(const std::string& element) {
  return parseText("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">" + element + "</plist>");
}

std::string errorOf(const Data& bytes) {
  std::string error;
  EXPECT_FALSE(parsePropertyList(bytes, &error));
  return error;
}

Value everything() {
  return Value::dictionary({{"text", "Grüße \U0001F600"},
                            {"numbers", Value::array({0, 255, 256, 65536, 4294967296, -1, INT64_MIN, 1e100})},
                            {"flags", Value::array({true, false})},
                            {"date", zn::Date{1700000000}},
                            {"data", Value::data({1, 2, 255})},
                            {"empty", Value::array({"", Value::array(), Value::dictionary(), Value::data({})})}});
}

TEST(PropertyList, BinaryKeepsEverythingButNull) {
  const Value doubled = Value::array({everything(), everything(), std::string(1000, 'x'), std::string(1000, 'x')});
  Value value = everything();
  value.setObjectNilHandled(Value::null(), "null");
  const Data bytes = binaryPropertyList(Value::array({Value::null(), value, value, doubled, doubled}));
  EXPECT_LT(bytes.size(), 2000u) << "what is shared is written once";
  EXPECT_EQ(parsePropertyList(bytes), Value::array({everything(), everything(), doubled, doubled}));
  EXPECT_EQ(parsePropertyList(binaryPropertyList("alone")), Value("alone"));
  EXPECT_THROW(binaryPropertyList(Value::null()), zn::Exception);
}

TEST(PropertyList, NestsAsDeepAsReadersReadAndNoDeeper) {
  Value value = Value::array();
  for (int i = 1; i < Value::maximumReadDepth; ++i) value = Value::dictionary({{"k", value}});
  const auto read = parsePropertyList(binaryPropertyList(value));
  ASSERT_TRUE(read);
  EXPECT_EQ(read->depth(), Value::maximumReadDepth);
  EXPECT_THROW(binaryPropertyList(Value::array({value})), zn::Exception);
}

constexpr const char* kExchange = R"(
import datetime, plistlib, sys
value = {'data': b'\x01\x02\xff', 'date': datetime.datetime(2023, 11, 14, 22, 13, 20), 'empty': ['', [], {}, b''],
         'flags': [True, False], 'numbers': [0, 255, 256, 65536, 4294967296, -1, -2**63, 1e100],
         'text': 'Grüße \U0001F600'}
if sys.argv[1].startswith('FMT_'):
    value |= {'large': 2**64 - 1, 'far': datetime.datetime(4001, 1, 1)}
    if sys.argv[1] == 'FMT_BINARY': value['reference'] = plistlib.UID(7)
    sys.stdout.buffer.write(plistlib.dumps(value, fmt=getattr(plistlib, sys.argv[1])))
else:
    read = plistlib.load(open(sys.argv[1], 'rb'), fmt=plistlib.FMT_BINARY)
    print('as expected' if read == value and list(read) == list(value) else read)
)";

TEST(PropertyList, IsExchangedWithAnotherImplementation) {
  const zn::test::TemporaryFolder folder;
  ASSERT_TRUE(zn::replaceFile(folder / "list", binaryPropertyList(everything())));
  ASSERT_TRUE(zn::replaceFile(folder / "exchange.py", bytesOf(kExchange)));
  const auto exchange = [&](const std::string& what) { return outputOfPython(folder / "exchange.py", what); };
  EXPECT_EQ(exchange(folder / "list"), "as expected\n");
  Value expected = everything();
  expected.setObjectNilHandled(0x1p64, "large");
  expected.setObjectNilHandled(zn::Date{64092211200}, "far");
  EXPECT_EQ(parseText(exchange("FMT_BINARY")), expected);
  EXPECT_EQ(parseText(exchange("FMT_XML")), expected);
}

TEST(PropertyList, ReadsXml) {
  EXPECT_EQ(parseText("\xEF\xBB\xBF<?xml version=\"1.0\"?><!-- <dict> --><!DOCTYPE plist SYSTEM \"x.dtd\">"
                      "<plist version=\"1.0\"><dict><key>a</key><array><true/><integer>-5</integer></array>"
                      "<key>b</key><string>x &amp; <![CDATA[<y>]]></string><key>c</key><dict/></dict></plist>"),
            Value::dictionary({{"a", Value::array({true, -5})}, {"b", "x & <y>"}, {"c", Value::dictionary()}}));
  const std::vector<std::pair<const char*, Value>> elements{
      {"<data>\n  AQID\n  BA==\n</data>", Value::data({1, 2, 3, 4})},
      {"<integer>-9223372036854775809</integer>", -0x1p63},
      {"<integer> +0x1F\n</integer>", 31},
      {"<real>-INFINITY</real>", -std::numeric_limits<double>::infinity()},
      {"<real>+2.5e-3</real>", 0.0025}};
  for (const auto& [element, value] : elements) {
    const auto read = parseElement(element);
    ASSERT_TRUE(read) << element;
    EXPECT_EQ(*read, value) << element;
    EXPECT_EQ(read->type(), value.type()) << element;
  }
}

TEST(PropertyList, ReadsXmlInTheEncodingsOfItsWriters) {
  const auto read = [](const std::string& encoding, std::string_view text) {
    return parseText("<?xml version=\"1.0\" encoding=\"" + encoding + "\"?><plist><string>" + std::string(text) +
                     "</string></plist>");
  };
  EXPECT_EQ(read("ISO-8859-1", "Gr\xFC\xDF"), Value("Grüß"));
  EXPECT_EQ(read("Windows-1252", "\x80 Gr\xFC\xDF\x94"), Value("€ Grüß”"));
  EXPECT_FALSE(read("windows-1252", "\x81") || read("UTF-8", "Gr\xFC\xDF") || read("EUC-JP", "x"));

  std::string wide = "\xFF\xFE";  // UTF-16, the lower byte first
  for (const char c : std::string_view("<plist><string>\xFC</string></plist>")) (wide += c) += '\0';
  EXPECT_EQ(parseText(wide), Value("ü"));
}

TEST(PropertyList, ReadsXmlNumbersInAnyLanguageAsTextsAreFormatted) {
  const zn::test::TemporaryFolder folder;
  const std::string make = "localedef -i de_DE -f UTF-8 '" + (folder / "de_DE.UTF-8") + "' >/dev/null 2>&1";
  const bool isMade = std::system(make.c_str()) == 0;
  setenv("LOCPATH", folder.path().c_str(), 1);
  if (!isMade || !std::setlocale(LC_NUMERIC, "de_DE.UTF-8")) GTEST_SKIP() << "no language with a decimal comma here";
  ASSERT_EQ(std::strtod("2,5", nullptr), 2.5);
  EXPECT_EQ(parseElement("<real>2.5</real>"), Value(2.5));
  EXPECT_EQ(zn::format("%@ %.1f %0.2f", 1.5, 2.5, Value("3.25")), "1.5 2.5 3.25");
  EXPECT_EQ(Value("1.5").doubleValue(), 1.5);
  std::setlocale(LC_NUMERIC, "C");
}

TEST(PropertyList, RefusesXmlThatIsNoPropertyListToTheLetter) {
  for (const char* text :
       {"", "plain text", "<", "<plist>", "<plist></plist>", "<plist><dict></array></plist>", "<plist><dict/></plist",
        "<plist><string>open</plist>", "<plist><string><dict/></string></plist>", "<plist><unknown/></plist>",
        "<plist><dict a=\"/>\"></dict></plist>", "<plist><!-- open</plist>",
        "<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><string>&a;</string></plist>",
        "<!DOCTYPE plist SYSTEM \"x.dtd\"><plist><string>&a;</string></plist>",
        "<plist><!ENTITY a \"b\"><string>x</string></plist>", "<html><body/></html>"}) {
    std::string error;
    EXPECT_FALSE(parseText(text, &error)) << text;
    EXPECT_NE(error.find("(at line 1, column "), std::string::npos) << text << ": " << error;
  }
  std::istringstream elements(
      "<integer/> <integer>abc</integer> <integer>1.5</integer> <integer>+-5</integer> <integer>5_6</integer> <real/> "
      "<real>abc</real> <real>1,5</real> <real>1e999</real> <real>0x10</real> <date>tomorrow</date> "
      "<date>2023-02-29T00:00:00Z</date> <date>2024-02-29T24:00:00Z</date> <date>2024-02-29</date> <data>AQI</data> "
      "<data>A===</data> <data>AQ==AQID</data> <data>AQ-_</data> <true>x</true> <string/><string/> <array>x</array> "
      "<key>a</key> <array><key>a</key></array> <dict><true/></dict> <dict><key>a</key></dict> "
      "<dict><key>a</key><key>b</key><true/></dict> <plist><true/></plist>");
  for (std::string element; elements >> element;) {
    EXPECT_FALSE(parseElement(element)) << element;
  }
  std::string error;
  EXPECT_FALSE(parseText("<plist>\n<array>\n  <true/>\n  <date>\ntomorrow</date></array></plist>", &error));
  EXPECT_EQ(error, "the element date holds no such value (at line 4, column 3)");
}

TEST(PropertyList, XmlNestsNoDeeperThanTheLimit) {
  const auto nested = [](int levels) {
    std::string text;
    for (int i = 0; i < levels; ++i) text += i % 2 ? "<dict><key>k</key>" : "<array>";
    text += "<true/>";
    for (int i = levels; i-- > 0;) text += i % 2 ? "</dict>" : "</array>";
    return parseElement(text);
  };
  ASSERT_TRUE(nested(Value::maximumReadDepth));
  EXPECT_EQ(nested(Value::maximumReadDepth)->depth(), Value::maximumReadDepth);
  EXPECT_FALSE(nested(Value::maximumReadDepth + 1) || nested(1000000));
}

TEST(PropertyList, ReadsNumbersOfWidthsThatItDoesNotWrite) {
  const auto read = [](const std::string& bytes) {
    RawPropertyList list;
    return parsePropertyList(list.file(list.add(bytes)));
  };
  using namespace std::string_literals;
  EXPECT_EQ(read("\x14" + std::string(15, '\xFF') + "\xFB"), Value(-5));
  EXPECT_EQ(read("\x22\x3F\xC0\x00\x00"s), Value(1.5));
  EXPECT_FALSE(read("\x15" + std::string(40, 'x')) || read("\x21\x00\x00"s));
}

TEST(PropertyList, CountsAndReferencesBeyondTheFileAreErrors) {
  using namespace std::string_literals;
  // Those that end before they should, so that the table of offsets would be read as theirs; a reference too far.
  std::vector<std::string> objects = {"\x4F\x10\x14" + "abc"s, "\x4F\x11", "\x13\x01", "\xA1\0\0\0\7"s};
  for (const std::string kind : {"\x4F", "\x5F", "\x6F", "\xAF", "\xCF", "\xDF"}) {
    for (const std::size_t power : {0, 2, 3})
      objects.push_back(kind + static_cast<char>(0x10 + power) + std::string(1u << power, '\xFF'));
  }
  for (const std::string& object : objects) {
    RawPropertyList list;
    list.add(object);
    EXPECT_NE(errorOf(list.file(0)), "") << testing::PrintToString(object);
    EXPECT_NE(errorOf(list.file(1)), "");
  }
}

TEST(PropertyList, SmallFilesThatMeanHugeValuesAreRefused) {
  // 2^100 strings, by way of a hundred arrays that hold the next one twice.
  RawPropertyList doubling;
  int inner = doubling.string("lol");
  for (int level = 0; level < 100; ++level) inner = doubling.array({inner, inner});
  EXPECT_NE(errorOf(doubling.file(inner)), "");

  // Ten thousand arrays that are the same bytes: a hundred thousand references each.
  RawPropertyList overlapping;
  const int text = overlapping.string("x");
  const int list = overlapping.array(std::vector<int>(100000, text));
  std::vector<int> arrays(10000);
  for (int& array : arrays) array = overlapping.again(list);
  EXPECT_NE(errorOf(overlapping.file(overlapping.array(arrays))).find("overlap"), std::string::npos);

  // Two long keys that are equal, many times over: sorting them would compare them to the end each time.
  RawPropertyList keys;
  const int first = keys.string(std::string(200000, 'k')), second = keys.string(std::string(200000, 'k'));
  std::vector<std::pair<int, int>> entries;
  for (int i = 0; i < 50000; ++i) entries.emplace_back(i % 2 ? first : second, text);
  keys.string("x");
  EXPECT_NE(errorOf(keys.file(keys.dictionary(entries))), "");
}

}  // namespace
