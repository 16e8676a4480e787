// What is wrong with a payload, campaign, condition or configuration.

#include "Apps/Check/Check.h"
#include "Apps/zinsim/Commands.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zinsim {

using apps::check::Finding;
using apps::check::Kind;
using zn::Value;

namespace {

/// What the fields give as an object, whose lines and columns nobody has written.
constexpr Kind kGiven[] = {Kind::payload, Kind::campaigns, Kind::condition, Kind::configuration};

Value described(const Finding& finding, bool hasPlace) {
  Value value = Value::dictionary({{"severity", finding.severity == Finding::Severity::error ? "error" : "warning"},
                                   {"sentence", finding.sentence},
                                   {"advice", finding.advice}});
  if (!hasPlace) return value;
  value.setObjectNilHandled(finding.line, "line");
  value.setObjectNilHandled(finding.column, "column");
  return value;
}

void print(F fields, Kind kind, std::string_view text, bool hasPlace) {
  Value findings = Value::array();
  const apps::check::Options options{.now = fields.device().now(), .lineProblems = problemsIn};
  for (const Finding& finding : apps::check::check(kind, text, options)) findings.append(described(finding, hasPlace));
  fields.session().print("check", Value(apps::check::nameOf(kind)), {{"findings", findings}});
}

void check(F fields) {
  bool isGiven = static_cast<bool>(fields["text"]);
  for (const Kind kind : kGiven) {
    const Value& given = fields[apps::check::nameOf(kind)];
    isGiven |= static_cast<bool>(given);
    if (given) print(fields, kind, zn::jsonText(given, zn::JsonStyle::spaced), false);
  }
  if (!isGiven) throw UsageError("\"check\" needs \"text\", or one of the fields named after what is checked");
  if (!fields["text"]) return;
  const std::string text = fields.text("text");
  const std::string name = fields.text("as");
  const auto kind = name.empty() ? apps::check::kindOf(text) : apps::check::kindNamed(name);
  if (!kind) throw UsageError("its keys do not tell what \"text\" is; say so with \"as\"");
  print(fields, *kind, text, true);
}

}  // namespace

std::vector<Command> checkCommands() {
  return {command("check",
                  {{"payload", optional, shape::dictionary},
                   {"campaigns", optional, shape::dictionary},
                   {"condition", optional, shape::dictionary},
                   {"configuration", optional, shape::dictionary},
                   {"text", optional, shape::text},
                   {"as", optional, shape::text, {"payload", "campaigns", "condition", "configuration", "scenario"}}},
                  "Prints what zincheck would say of each of these at the device's time. text: the contents of a\n"
                  "file, whose lines and columns are told; as: what it is, where its keys do not tell.",
                  check)};
}

}  // namespace zinsim
