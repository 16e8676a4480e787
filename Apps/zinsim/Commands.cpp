#include "Apps/zinsim/Commands.h"

#include <algorithm>

#include "Apps/NearMiss.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"

namespace zinsim {

using zn::Value;

namespace {

bool isChoice(const Field& field, const Value& value) {
  const auto& all = field.choices;
  const auto isIt = [&](const char* choice) { return value.string() == choice; };
  return all.empty() || !value.isString() || std::any_of(all.begin(), all.end(), isIt);
}

bool isWritersOwn(std::string_view name) { return name == "comment" || name.starts_with('_'); }

}  // namespace

std::string choicesText(const Field& field) {
  std::string text;
  for (const char* choice : field.choices) text += (text.empty() ? "\"" : ", \"") + std::string(choice) + "\"";
  return text;
}

std::string unknownField(const Command& command, const std::string& name) {
  std::vector<std::string_view> known;
  std::string all;
  for (const Field& field : command.fields) {
    known.push_back(field.name);
    all += (all.empty() ? "\"" : ", \"") + std::string(field.name) + "\"";
  }
  const std::string advice = apps::didYouMean(name, known);
  return "\"" + std::string(command.name) + "\" has no field \"" + name + "\"" +
         (advice.empty() ? " (it has " + (all.empty() ? "none" : all) + ")" : advice);
}

Fields::Fields(std::string_view command, const std::vector<Field>& known, const Value& line, Session& session)
    : session_(session), line_(Value::dictionary()) {
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
    const std::string what = "field \"" + std::string(field.name) + "\" of " + quoted;
    if (!fits) refuse(what, field.shape.expected, value);
    if (!isChoice(field, value)) refuse(what, "one of " + choicesText(field), value);
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

const std::vector<Command>& allCommands() {
  static const zn::NeverDestroyed all(
      joined({deviceCommands(), fileCommands(), hostCommands(), inboxScreenCommands()}));
  return *all;
}

const Command& commandNamed(std::string_view name) {
  for (const Command& command : allCommands()) {
    if (name == command.name) return command;
  }
  std::vector<std::string_view> known;
  for (const Command& command : allCommands()) known.push_back(command.name);
  throw UsageError("unknown command \"" + std::string(name) + "\"" + apps::didYouMean(name, known));
}

}  // namespace zinsim
