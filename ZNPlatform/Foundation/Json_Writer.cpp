#include <cmath>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zn {

namespace {

constexpr std::string_view kDateTag = "$date";
constexpr std::string_view kDataTag = "$data";

/// Recurses; `Value::maximumDepth` bounds that.
class Writer {
 public:
  Writer(std::string& out, JsonStyle style)
      : out_(out), comma_(style == JsonStyle::spaced ? ", " : ","), colon_(style == JsonStyle::spaced ? ": " : ":") {}

  void write(const Value& value) {
    switch (value.type()) {
      case Value::Type::nil:
      case Value::Type::null:
        out_ += "null";
        break;
      case Value::Type::boolean:
        out_ += value.boolean() ? "true" : "false";
        break;
      case Value::Type::integer:
        out_ += std::to_string(value.integer());
        break;
      case Value::Type::real:
        writeReal(value.real());
        break;
      case Value::Type::string:
        appendJsonString(out_, value.string());
        break;
      case Value::Type::date:
        writeTag(kDateTag);
        writeReal(value.date().secondsSince1970);
        out_ += '}';
        break;
      case Value::Type::data:
        writeTag(kDataTag);
        appendJsonString(out_, hexText(value.data()));
        out_ += '}';
        break;
      case Value::Type::array:
        writeArray(value);
        break;
      case Value::Type::dictionary:
        writeDictionary(value);
        break;
    }
  }

 private:
  void writeReal(double number) { out_ += std::isfinite(number) ? numberText(number) : "null"; }

  void writeTag(std::string_view tag) {
    out_ += '{';
    appendJsonString(out_, tag);
    out_ += colon_;
  }

  void writeArray(const Value& array) {
    std::string_view separator;
    out_ += '[';
    for (const Value& element : array.elements()) {
      out_ += separator;
      write(element);
      separator = comma_;
    }
    out_ += ']';
  }

  void writeDictionary(const Value& dictionary) {
    std::string_view separator;
    out_ += '{';
    for (const Value::Entry& entry : dictionary.entries()) {
      out_ += separator;
      appendJsonString(out_, entry.name());
      out_ += colon_;
      write(entry.value);
      separator = comma_;
    }
    out_ += '}';
  }

  std::string& out_;
  const std::string_view comma_;
  const std::string_view colon_;
};

/// The escape of a character that may not stand in a JSON string as it is; empty for any other.
std::string escapeOf(char character) {
  constexpr std::string_view kNamed = "\"\\\b\f\n\r\t";
  constexpr std::string_view kNames = "\"\\bfnrt";
  if (const auto at = kNamed.find(character); at != std::string_view::npos) return {'\\', kNames[at]};
  const auto byte = static_cast<std::uint8_t>(character);
  return byte < 0x20 ? "\\u00" + hexText({&byte, 1}) : std::string();
}

Value dateFromTag(const Value& seconds) {
  if (!seconds.isNumber() || seconds.isBoolean()) throw Exception("\"$date\" needs a number of seconds");
  return Date{seconds.doubleValue()};
}

Value dataFromTag(const Value& text) {
  auto bytes = text.isString() ? dataFromHexText(text.string()) : std::nullopt;
  if (!bytes) throw Exception("\"$data\" needs a string of hex digits");
  return Value::data(std::move(*bytes));
}

}  // namespace

void appendJsonString(std::string& out, std::string_view text) {
  out += '"';
  std::size_t copied = 0;  // everything before it is in `out`
  for (std::size_t at = 0; at < text.size();) {
    const auto byte = static_cast<std::uint8_t>(text[at]);
    if (byte >= 0x20 && byte < 0x80 && byte != '"' && byte != '\\') {
      ++at;
      continue;
    }
    const Utf8Step step = utf8StepAt(text, at);
    if (!step.valid || byte < 0x80) {
      out.append(text.substr(copied, at - copied));
      out.append(step.valid ? escapeOf(text[at]) : std::string(kReplacementCharacter));
      copied = at + step.size;
    }
    at += step.size;
  }
  out.append(text.substr(copied));
  out += '"';
}

void appendJson(std::string& out, const Value& value, JsonStyle style) { Writer(out, style).write(value); }

std::string jsonText(const Value& value, JsonStyle style) {
  std::string out;
  appendJson(out, value, style);
  return out;
}

Value decodeTaggedValues(const Value& value) {
  if (value.isArray()) {
    std::vector<Value> elements;
    elements.reserve(value.size());
    for (const Value& element : value.elements()) elements.push_back(decodeTaggedValues(element));
    return Value::array(std::move(elements));
  }
  if (!value.isDictionary()) return value;
  if (value.entries().size() == 1) {
    const Value::Entry& only = value.entries().front();
    if (only.name() == kDateTag) return dateFromTag(only.value);
    if (only.name() == kDataTag) return dataFromTag(only.value);
  }
  std::vector<Value::Entry> entries;
  entries.reserve(value.entries().size());
  for (const Value::Entry& entry : value.entries()) entries.push_back({entry.key, decodeTaggedValues(entry.value)});
  return Value::dictionary(std::move(entries));
}

}  // namespace zn
