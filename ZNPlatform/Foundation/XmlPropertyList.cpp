#include "ZNPlatform/Foundation/XmlPropertyList_p.h"

#include <expat.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "ZNPlatform/Foundation/IsoDate_p.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace zn {

namespace {

constexpr std::size_t kLargestText = std::size_t{64} << 20;
constexpr std::string_view kBlanks = " \t\r\n";

enum class Element { plist, dict, array, key, string, integer, real, date, data, yes, no, none };

constexpr std::array<std::string_view, 11> kElementNames{"plist", "dict", "array", "key",  "string", "integer",
                                                         "real",  "date", "data",  "true", "false"};

Element elementNamed(std::string_view name) {
  return static_cast<Element>(std::find(kElementNames.begin(), kElementNames.end(), name) - kElementNames.begin());
}

/// The bytes 0x80 to 0x9F of windows-1252, which expat does not know itself; -1 where there is no character.
constexpr std::array<int, 32> kWindows1252{0x20AC, -1,     0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                           0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, -1,     0x017D, -1,
                                           -1,     0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                           0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, -1,     0x017E, 0x0178};

int describeEncoding(void*, const XML_Char* name, XML_Encoding* encoding) {
  if (strcasecmp(name, "windows-1252") != 0 && strcasecmp(name, "cp1252") != 0) return XML_STATUS_ERROR;
  for (int byte = 0; byte < 256; ++byte) encoding->map[byte] = byte;
  std::copy(kWindows1252.begin(), kWindows1252.end(), encoding->map + 0x80);
  encoding->data = nullptr;
  encoding->convert = nullptr;
  encoding->release = nullptr;
  return XML_STATUS_OK;
}

// The texts of values. Each gives nil where the text is of no such form; blanks around it were taken off.

template <class Number, class... Form>
std::errc readWhole(std::string_view text, Number& number, Form... form) {
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number, form...);
  return end == text.data() + text.size() ? failure : std::errc::invalid_argument;
}

/// Decimal, or hexadecimal after "0x". An integer beyond 64 bits becomes a real, as everywhere.
Value integerFromText(std::string_view text) {
  const bool isNegative = takeSign(text);
  const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (isHexadecimal) text.remove_prefix(2);
  std::uint64_t magnitude = 0;
  const std::errc failure = readWhole(text, magnitude, isHexadecimal ? 16 : 10);
  constexpr std::uint64_t kLowest = std::uint64_t{1} << 63;
  if (failure == std::errc() && isNegative && magnitude <= kLowest) return static_cast<std::int64_t>(-magnitude);
  if (failure == std::errc() && !isNegative) return magnitude;
  if (failure != std::errc() && failure != std::errc::result_out_of_range) return nil;
  double real = 0;
  if (readWhole(text, real, isHexadecimal ? std::chars_format::hex : std::chars_format::general) != std::errc())
    return nil;
  return isNegative ? -real : real;
}

/// A decimal number, or infinity or no number in one of the spellings that writers use.
Value realFromText(std::string_view text) {
  const bool isNegative = takeSign(text);
  double real = 0;
  if (text.empty()) return nil;
  if (isAsciiDigit(text.front()) || text.front() == '.') {
    if (readWhole(text, real, std::chars_format::general) != std::errc()) return nil;
  } else {
    std::string word(text);
    for (char& c : word) c = asciiLower(c);
    if (word != "nan" && word != "inf" && word != "infinity") return nil;
    using Limits = std::numeric_limits<double>;
    real = word == "nan" ? Limits::quiet_NaN() : Limits::infinity();
  }
  return isNegative ? -real : real;
}

/// YYYY-MM-DDThh:mm:ssZ, the one form that is so long and ends so.
Value dateFromText(std::string_view text) {
  const double seconds = text.size() == 20 && text.ends_with('Z') ? secondsOfIsoDate(text) : NAN;
  return std::isnan(seconds) ? nil : Value(Date{seconds});
}

Value dataFromText(std::string_view text) {
  auto bytes = dataFromBase64Text(text);
  return bytes ? Value::data(std::move(*bytes)) : nil;
}

class XmlListReader {
 public:
  XmlListReader() : parser_(XML_ParserCreate(nullptr), &XML_ParserFree) {
    if (!parser_) return;
    XML_SetUserData(parser_.get(), this);
    XML_SetElementHandler(
        parser_.get(),
        [](void* self, const XML_Char* name, const XML_Char** attributes) {
          of(self).run([&](XmlListReader& reader) { reader.start(name, attributes); });
        },
        [](void* self, const XML_Char*) { of(self).run([](XmlListReader& reader) { reader.end(); }); });
    XML_SetCharacterDataHandler(parser_.get(), [](void* self, const XML_Char* text, int length) {
      of(self).run([&](XmlListReader& reader) { reader.text({text, static_cast<std::size_t>(length)}); });
    });
    // A document type that defines nothing leaves no entities to unfold and no attributes to add.
    XML_SetStartDoctypeDeclHandler(
        parser_.get(), [](void* self, const XML_Char*, const XML_Char*, const XML_Char*, int definesSomething) {
          if (definesSomething) of(self).fail("a document type that defines something");
        });
    // Where an external document type might define an entity, expat would leave it out silently.
    XML_SetSkippedEntityHandler(
        parser_.get(), [](void* self, const XML_Char*, int) { of(self).fail("an entity that is not defined"); });
    XML_SetUnknownEncodingHandler(parser_.get(), &describeEncoding, nullptr);
  }

  std::optional<Value> read(std::span<const std::uint8_t> bytes, std::string& error) {
    const auto size = static_cast<int>(bytes.size());
    if (!parser_) {
      error_ = "out of memory";
    } else if (XML_Parse(parser_.get(), reinterpret_cast<const char*>(bytes.data()), size, XML_TRUE) != XML_STATUS_OK) {
      fail(XML_ErrorString(XML_GetErrorCode(parser_.get())));
    }
    error = error_;
    return error_.empty() ? std::optional(std::move(root_)) : std::nullopt;
  }

 private:
  /// An open dictionary or array.
  struct Container {
    bool isArray = false;
    Value key;  // of a dictionary: one that still waits for its value
    std::vector<Value> elements;
    std::vector<Value::Entry> entries;
  };
  struct Place {
    unsigned long line = 0;
    unsigned long column = 0;
  };

  static XmlListReader& of(void* self) { return *static_cast<XmlListReader*>(self); }

  /// No exception may pass through expat, which is C.
  template <class Body>
  void run(const Body& body) {
    if (!error_.empty()) return;  // a stopped parser still ends the element that it is in
    try {
      body(*this);
    } catch (...) {
      fail("out of memory");
    }
  }

  Place here() const {
    return {XML_GetCurrentLineNumber(parser_.get()), XML_GetCurrentColumnNumber(parser_.get()) + 1};
  }
  void fail(std::string_view reason) { fail(reason, here()); }
  void fail(std::string_view reason, Place place) {
    if (!error_.empty()) return;
    error_ = std::string(reason) + " (at line " + std::to_string(place.line) + ", column " +
             std::to_string(place.column) + ")";
    XML_StopParser(parser_.get(), XML_FALSE);
  }

  void start(const XML_Char* name, const XML_Char** attributes) {
    const Element element = elementNamed(name);
    if (element == Element::none) return fail("an element that property lists do not have");
    if (attributes[0] && element != Element::plist) return fail("an attribute that property lists do not have");
    if (leaf_ != Element::none) return fail("an element inside of a text");
    const bool isRoot = !std::exchange(isInRoot_, true);
    if (element == Element::plist) return isRoot ? void() : fail("a property list inside of another");
    if (const char* problem = problemOfPlace(element)) return fail(problem);
    if (element == Element::dict || element == Element::array) {
      if (open_.size() >= static_cast<std::size_t>(Value::maximumReadDepth))
        return fail("containers that nest too deep");
      open_.emplace_back().isArray = element == Element::array;
    } else {
      leaf_ = element;
      leafPlace_ = here();
      text_.clear();
    }
  }

  const char* problemOfPlace(Element element) const {
    const bool isInDictionary = !open_.empty() && !open_.back().isArray;
    if (element == Element::key) {
      if (!isInDictionary) return "a key outside of a dictionary";
      return open_.back().key ? "a key without a value" : nullptr;
    }
    if (isInDictionary && !open_.back().key) return "a value without a key";
    return open_.empty() && root_ ? "more than one value" : nullptr;
  }

  void text(std::string_view more) {
    if (leaf_ != Element::none) {
      text_ += more;
    } else if (more.find_first_not_of(kBlanks) != std::string_view::npos) {
      fail("text outside of a value");
    }
  }

  void end() {
    if (leaf_ != Element::none) return endLeaf(std::exchange(leaf_, Element::none));
    if (open_.empty()) return root_ ? void() : fail("the property list is empty");  // plist itself ends
    Container& last = open_.back();
    if (last.key) return fail("a key without a value");
    Value value = last.isArray ? Value::array(std::move(last.elements)) : Value::dictionary(std::move(last.entries));
    open_.pop_back();
    take(std::move(value));
  }

  void endLeaf(Element element) {
    if (element == Element::key) {
      open_.back().key = Value(text_);
      return;
    }
    Value value = leafValue(element);
    if (!value)
      return fail(
          "the element " + std::string(kElementNames[static_cast<std::size_t>(element)]) + " holds no such value",
          leafPlace_);
    take(std::move(value));
  }

  /// nil where the text has another form.
  Value leafValue(Element element) const {
    std::string_view trimmed = text_;
    trimmed.remove_prefix(std::min(trimmed.find_first_not_of(kBlanks), trimmed.size()));
    trimmed = trimmed.substr(0, trimmed.find_last_not_of(kBlanks) + 1);
    switch (element) {
      case Element::string:
        return Value(text_);
      case Element::integer:
        return integerFromText(trimmed);
      case Element::real:
        return realFromText(trimmed);
      case Element::date:
        return dateFromText(trimmed);
      case Element::data:
        return dataFromText(trimmed);
      default:
        return trimmed.empty() ? Value(element == Element::yes) : nil;
    }
  }

  void take(Value value) {
    if (open_.empty()) {
      root_ = std::move(value);
    } else if (open_.back().isArray) {
      open_.back().elements.push_back(std::move(value));
    } else {
      open_.back().entries.push_back({std::exchange(open_.back().key, nil), std::move(value)});
    }
  }

  std::unique_ptr<std::remove_pointer_t<XML_Parser>, decltype(&XML_ParserFree)> parser_;
  std::vector<Container> open_;
  Value root_;
  bool isInRoot_ = false;
  Element leaf_ = Element::none;  // the element whose text is being collected
  Place leafPlace_;
  std::string text_;
  std::string error_;
};

}  // namespace

std::optional<Value> parseXmlPropertyList(std::span<const std::uint8_t> bytes, std::string& error) {
  if (bytes.size() > kLargestText) {
    error = "a property list in XML beyond 64 MB";
    return std::nullopt;
  }
  return XmlListReader().read(bytes, error);
}

}  // namespace zn
