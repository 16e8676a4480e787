#include "Apps/zinsim/Fields.h"

#include <algorithm>
#include <cmath>

#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zinsim {

using zn::Value;

namespace {

bool isTexts(const Value& value) {
  const auto elements = value.elements();
  return value.isArray() && std::all_of(elements.begin(), elements.end(), [](const Value& v) { return v.isString(); });
}

bool isNumber(const Value& value) { return value.isNumber() && !value.isBoolean(); }

bool isWhole(const Value& value) {
  return isNumber(value) && std::abs(value.doubleValue()) < 9e15 &&
         value.doubleValue() == std::floor(value.doubleValue());
}

void checkChoice(std::string_view command, const Field& field, const Value& value) {
  const auto fits = [&](const char* choice) { return value.string() == choice; };
  if (field.choices.empty() || !value.isString()) return;
  if (std::any_of(field.choices.begin(), field.choices.end(), fits)) return;
  std::string all;
  for (const char* choice : field.choices) all += (all.empty() ? "\"" : ", \"") + std::string(choice) + "\"";
  throw UsageError("field \"" + std::string(field.name) + "\" of \"" + std::string(command) + "\" must be one of " +
                   all + ", not " + shown(value));
}

bool isWritersOwn(std::string_view name) { return name == "comment" || name.starts_with('_'); }

}  // namespace

namespace shape {
const Shape anything{[](const Value&) { return true; }, "any value"};
const Shape boolean{[](const Value& value) { return value.isBoolean(); }, "true or false"};
const Shape number{isNumber, "a number"};
const Shape integer{isWhole, "a whole number"};
const Shape text{[](const Value& value) { return value.isString(); }, "a text"};
const Shape name{[](const Value& value) { return value.isString() && !value.string().empty(); },
                 "a text that is not empty"};
const Shape texts{isTexts, "an array of texts"};
const Shape array{[](const Value& value) { return value.isArray(); }, "an array"};
const Shape dictionary{[](const Value& value) { return value.isDictionary(); }, "a dictionary"};
const Shape booleanOrText{[](const Value& value) { return value.isString() || value.isBoolean(); },
                          "true, false or an error text"};
const Shape nameOrNull{[](const Value& value) { return value.isNull() || name.fits(value); },
                       "a text that is not empty, or null"};
const Shape textOrNull{[](const Value& value) { return value.isNull() || value.isString(); }, "a text or null"};
const Shape textsOrNull{[](const Value& value) { return value.isNull() || isTexts(value); },
                        "an array of texts, or null"};
const Shape dictionaryOrNull{[](const Value& value) { return value.isNull() || value.isDictionary(); },
                             "a dictionary or null"};
}  // namespace shape

Fields::Fields(std::string_view command, const std::vector<Field>& known, const Value& line)
    : line_(Value::dictionary()) {
  const std::string quoted = "\"" + std::string(command) + "\"";
  for (const auto& entry : line.entries()) {
    const auto isIt = [&](const Field& field) { return entry.name() == field.name; };
    if (entry.name() != "do" && !isWritersOwn(entry.name()) && std::none_of(known.begin(), known.end(), isIt)) {
      ignored_.emplace_back(entry.name());
    }
  }
  for (const Field& field : known) {
    const Value& value = line[field.name];
    const bool fits = field.shape.fits(value);
    if (value.isNil() || (value.isNull() && !fits && field.need == Need::optional)) {
      if (field.need == Need::optional) continue;
      throw UsageError(quoted + " needs the field \"" + field.name + "\"");
    }
    if (!fits) {
      throw UsageError("field \"" + std::string(field.name) + "\" of " + quoted + " must be " + field.shape.expected +
                       ", not " + shown(value));
    }
    checkChoice(command, field, value);
    line_.setObjectNilHandled(value, field.name);
  }
}

std::string Fields::text(std::string_view name, std::string_view otherwise) const {
  const Value& value = line_[name];
  return std::string(value.isString() ? value.string() : otherwise);
}

bool Fields::boolean(std::string_view name, bool otherwise) const {
  const Value& value = line_[name];
  return value.isBoolean() ? value.boolean() : otherwise;
}

std::vector<std::string> Fields::texts(std::string_view name) const {
  std::vector<std::string> all;
  for (const Value& element : line_[name].elements()) all.emplace_back(element.string());
  return all;
}

std::string shown(const Value& value) {
  constexpr std::size_t longest = 60;
  std::string text = zn::jsonText(value);
  if (text.size() > longest) text = zn::sanitizedUtf8(text.substr(0, longest)) + "…";
  return text;
}

}  // namespace zinsim
