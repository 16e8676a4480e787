#include "Apps/zinsim/Commands.h"

#include <algorithm>

#include "Apps/NearMiss.h"
#include "Apps/zinsim/Operations.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"
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

std::vector<std::string> unknownFields(const std::vector<Field>& known, const Value& line) {
  std::vector<std::string> unknown;
  for (const auto& entry : line.entries()) {
    const auto isIt = [&](const Field& field) { return entry.name() == field.name; };
    if (entry.name() != "do" && !isWritersOwn(entry.name()) && std::none_of(known.begin(), known.end(), isIt)) {
      unknown.emplace_back(entry.name());
    }
  }
  return unknown;
}

/// null counts as left out where a field may be, unless it means something there.
bool isLeftOut(const Field& field, const Value& value) {
  return value.isNil() || (value.isNull() && !field.shape.fits(value) && field.need == Need::optional);
}

/// Why the field cannot be used; empty where it can.
std::string problemOf(std::string_view commandName, const Field& field, const Value& value) {
  const std::string command = "\"" + std::string(commandName) + "\"";
  if (isLeftOut(field, value)) {
    return field.need == Need::optional ? "" : command + " needs the field \"" + field.name + "\"";
  }
  const std::string what = "field \"" + std::string(field.name) + "\" of " + command;
  if (!field.shape.fits(value)) return refusal(what, field.shape.expected, value);
  return isChoice(field, value) ? "" : refusal(what, "one of " + choicesText(field), value);
}

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
    : session_(session), line_(Value::dictionary()), ignored_(unknownFields(known, line)) {
  for (const Field& field : known) {
    const Value& value = line[field.name];
    const std::string problem = problemOf(command, field, value);
    if (!problem.empty()) throw UsageError(problem);
    if (!isLeftOut(field, value)) line_.setObjectNilHandled(value, field.name);
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
      joined({deviceCommands(), fileCommands(), hostCommands(), inboxScreenCommands(), checkCommands()}));
  return *all;
}

const Command& commandIn(const Value& line) {
  const Value& name = line["do"];
  if (name.isNil()) throw UsageError("a command needs the field \"do\"");
  if (!name.isString()) throw UsageError("field \"do\" must be a command's name, not " + shown(name));
  return commandNamed(name.string());
}

const Command& commandNamed(std::string_view name) {
  for (const Command& command : allCommands()) {
    if (name == command.name) return command;
  }
  std::vector<std::string_view> known;
  for (const Command& command : allCommands()) known.push_back(command.name);
  throw UsageError("unknown command \"" + std::string(name) + "\"" + apps::didYouMean(name, known));
}

namespace {

/// Of the operations that two commands name; what the arguments stand for is known when they run only.
void addOperationProblems(const Value& line, std::vector<apps::check::LineProblem>& problems) {
  const auto check = [&](const char* field, const auto& look) {
    try {
      look();
    } catch (const UsageError& refused) {
      problems.push_back({.field = field, .sentence = refused.what()});
    }
  };
  const std::string on(line["on"].string());
  if (line["do"] == Value("call")) {
    check("operation", [&] {
      const Operation& called = operationNamed(on, line["operation"].string());
      check("arguments", [&] { refuseUnfit(called.selector, called.parameters, line["arguments"]); });
    });
  } else if (line["do"] == Value("set")) {
    check("property", [&] { setterNamed(on, line["property"].string()); });
  }
}

}  // namespace

std::vector<apps::check::LineProblem> problemsIn(const Value& written) {
  using Severity = apps::check::Finding::Severity;
  std::vector<apps::check::LineProblem> problems;
  try {
    const Value line = zn::decodeTaggedValues(written);
    const Command& command = commandIn(line);
    for (const Field& field : command.fields) {
      const std::string problem = problemOf(command.name, field, line[field.name]);
      if (!problem.empty()) problems.push_back({.field = field.name, .sentence = problem});
    }
    for (const std::string& name : unknownFields(command.fields, line)) {
      problems.push_back({.severity = Severity::warning, .field = name, .sentence = unknownField(command, name) + ", and it is ignored"});
    }
    if (problems.empty()) addOperationProblems(line, problems);
  } catch (const zn::Exception& malformed) {
    problems.push_back({.sentence = malformed.reason()});
  } catch (const UsageError& refused) {
    problems.push_back({.field = "do", .sentence = refused.what()});
  }
  return problems;
}

}  // namespace zinsim
