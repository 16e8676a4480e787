#include <algorithm>
#include <cmath>
#include <ctime>
#include <random>
#include <span>
#include <string_view>

#include "ZNPlatform/Foundation/AppendableFile_p.h"
#include "ZNPlatform/Foundation/AppendableText_p.h"
#include "ZNPlatform/Foundation/DefaultsStore_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/PropertyList.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zn {

namespace {

constexpr std::string_view kHeader =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";

constexpr std::string_view kBeforeName = "<!-- file: ";
constexpr std::string_view kAfterName = " -->\n";
constexpr std::size_t kNameSize = 32;
static_assert(kHeader.size() + kBeforeName.size() + kNameSize + kAfterName.size() == headSize);

std::string newHead() {
  std::random_device random;
  std::string text(kHeader);
  text += kBeforeName;
  Data name(kNameSize / 2);
  for (std::uint8_t& byte : name) byte = static_cast<std::uint8_t>(random());
  return text + hexText(name) + std::string(kAfterName);
}

void write(const Value& value, std::string& out);

void writeText(std::string_view element, std::string_view text, std::string& out) {
  // A reader would take a carriage return as it is for a line feed.
  constexpr std::pair<char, std::string_view> kEscapes[] = {
      {'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'\r', "&#13;"}};
  out.append("<").append(element).append(">");
  for (const char c : text) {
    const auto* escape =
        std::find_if(std::begin(kEscapes), std::end(kEscapes), [&](const auto& each) { return each.first == c; });
    out += escape == std::end(kEscapes) ? std::string_view(&c, 1) : escape->second;
  }
  out.append("</").append(element).append(">\n");
}

/// Empty, which is no date, for one that this form cannot say.
std::string dateText(Date date) {
  constexpr double kYear0 = -62'167'219'200;
  constexpr double kYear10000 = 253'402'300'800;
  if (!(date.secondsSince1970 >= kYear0 && date.secondsSince1970 < kYear10000)) return "";
  const auto seconds = static_cast<std::time_t>(date.secondsSince1970);
  std::tm fields{};
  char text[64] = "";
  if (::gmtime_r(&seconds, &fields)) std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &fields);
  return text;
}

void writeEntry(const Value::Entry& entry, std::string& out) {
  if (entry.value.isNull()) return;
  writeText("key", entry.name(), out);
  write(entry.value, out);
}

void write(const Value& value, std::string& out) {
  switch (value.type()) {
    case Value::Type::boolean:
      out += value.boolean() ? "<true/>\n" : "<false/>\n";
      break;
    case Value::Type::integer:
      writeText("integer", std::to_string(value.integer()), out);
      break;
    case Value::Type::real:
      writeText("real", numberText(value.doubleValue()), out);
      break;
    case Value::Type::string:
      writeText("string", value.string(), out);
      break;
    case Value::Type::date:
      writeText("date", dateText(value.date()), out);
      break;
    case Value::Type::data:
      writeText("data", base64Text(value.data()), out);
      break;
    case Value::Type::array:
      out += "<array>\n";
      for (const Value& element : value.elements()) write(element, out);
      out += "</array>\n";
      break;
    case Value::Type::dictionary:
      out += "<dict>\n";
      for (const Value::Entry& entry : value.entries()) writeEntry(entry, out);
      out += "</dict>\n";
      break;
    default:
      break;  // null has no place in a property list
  }
}

bool isXmlText(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const Utf8Step step = utf8StepAt(text, at);
    const bool isControl = step.scalar < 0x20 && step.scalar != '\t' && step.scalar != '\n' && step.scalar != '\r';
    if (!step.valid || isControl || step.scalar == 0xFFFE || step.scalar == 0xFFFF) return false;
    at += step.size;
  }
  return true;
}

/// Whether what `write` makes of a value reads as the value. For one that nests no deeper than a property list may.
bool isExactInXml(const Value& value) {
  switch (value.type()) {
    case Value::Type::real:
      return std::isfinite(value.doubleValue());
    case Value::Type::string:
      return isXmlText(value.string());
    case Value::Type::date: {
      const double seconds = value.date().secondsSince1970;
      return seconds == std::floor(seconds) && !dateText(value.date()).empty();
    }
    case Value::Type::array:
      return std::all_of(value.elements().begin(), value.elements().end(), isExactInXml);
    case Value::Type::dictionary:
      return std::all_of(value.entries().begin(), value.entries().end(), [](const Value::Entry& entry) {
        return isXmlText(entry.name()) && isExactInXml(entry.value);
      });
    default:
      return true;
  }
}

/// Everything before `list` ends; the list is what comes last.
void writeUpToEnd(const Value& dictionary, std::span<const std::string> list, std::string& out) {
  out += "<dict>\n";
  for (const Value::Entry& entry : dictionary.entries()) {
    if (entry.name() != list.front()) writeEntry(entry, out);
  }
  writeText("key", list.front(), out);
  const Value& below = dictionary[list.front()];
  if (list.size() > 1) return writeUpToEnd(below, list.subspan(1), out);
  out += "<array>\n";
  for (const Value& element : below.elements()) write(element, out);
}

/// Whether the text reads as the contents do where they are usually written: without nulls, with well-formed strings.
bool readsAs(std::string_view text, const Value& contents) {
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  const std::optional<Value> wanted = parsePropertyList(binaryPropertyList(contents));
  const std::optional<Value> read = parsePropertyList({bytes, text.size()});
  return wanted && read && isSameInPropertyList(*read, *wanted);
}

}  // namespace

bool isHead(std::string_view text) {
  return text.size() == headSize && text.starts_with(kHeader) && text.substr(kHeader.size()).starts_with(kBeforeName) &&
         text.ends_with(kAfterName);
}

std::string endAfter(const ListPath& list) {
  // The names tell the file of one list from that of another. A comment may not hold "--".
  std::string text = "</array>\n";
  for (std::size_t i = 0; i < list.size(); ++i) text += "</dict>\n";
  text += "</plist>\n<!-- list:";
  for (const std::string& key : list) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(key.data());
    text += " " + base64Text({bytes, key.size()});
  }
  return text + " -->\n";
}

std::optional<std::string> elementText(const ListPath& list, const Value& element) {
  if (element.isNil() || element.isNull()) throw Exception("a property list cannot hold nil or null");
  if (element.depth() > Value::maximumReadDepth) throw Exception("a value nests too deep for a property list");
  const int around = static_cast<int>(list.size()) + 2;
  if (element.depth() + around > Value::maximumReadDepth || !isExactInXml(element)) return std::nullopt;
  std::string text;
  write(element, text);
  return text;
}

std::optional<Data> appendableList(const Value& contents, const ListPath& list) {
  std::string text = newHead();
  writeUpToEnd(contents, list, text);
  text += endAfter(list);
  if (!readsAs(text, contents)) return std::nullopt;
  return Data(text.begin(), text.end());
}

}  // namespace zn
