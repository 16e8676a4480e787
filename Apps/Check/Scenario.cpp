#include "Apps/Check/Scenario.h"

#include <algorithm>

#include "ZNPlatform/Foundation/Exception.h"

namespace apps::check {

namespace {

/// What is carried by one line, as far as it goes to the module.
class Line {
 public:
  Line(const Document& document, const Options& options, Findings& findings)
      : root_(document.root()), options_(options), checker_(document, options, findings, Checker::Use::carried) {}

  void check() {
    if (!root_.is(Type::object)) return checker_.report(root_, Severity::error, "a command is a JSON object");
    checker_.duplicates();
    addLineProblems();
    const std::string name = root_["do"].text();
    if (name == "deliver" || name == "tap" || name == "present") {
      if (root_["payload"].is(Type::object)) checker_.payload(root_["payload"]);
    } else if (name == "server") {
      answer(root_["answers"]);
    } else if (name == "answer") {
      answer(root_["with"]);
    } else if (name == "config") {
      checker_.object(root_, "configuration");
    } else if (name == "call") {
      checker_.whatever(root_["arguments"]);
    }
  }

 private:
  void addLineProblems() {
    if (!options_.lineProblems) return;
    for (const LineProblem& problem : options_.lineProblems(root_.value())) {
      const Item field = root_[problem.field];
      checker_.reportKey(field ? field : root_, problem.severity, problem.sentence, problem.advice);
    }
  }

  void answer(const Item& answer) {
    if (!answer.is(Type::object)) return;
    const auto service = numberIn(root_["service"]);
    if (service == 7) return checker_.object(answer, "inbox");
    if (service == 9) return checker_.triggers(answer);
    if (service == 10) checker_.object(answer, "segment");
  }

  const Item root_;
  const Options& options_;
  Checker checker_;
};

/// The scenario's own clock.
void moveClock(const Item& line, double& now) {
  const std::string name = line["do"].text();
  if (name == "clock") now = numberIn(line["to"]).value_or(now);
  if (name == "advance") now += numberIn(line["seconds"]).value_or(0);
}

}  // namespace

bool isSkippedLine(std::string_view line) {
  return line.starts_with('#') || line.find_first_not_of(" \t\r\f\v") == line.npos;
}

void checkScenario(std::string_view text, const Options& options, Findings& findings) {
  Options own = options;
  own.now = 1700000000;  // where the simulated device begins
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (isSkippedLine(line)) continue;
    zn::JsonError error;
    const auto document = Document::read(line, false, error, number);
    if (!document) {
      addSyntaxError(error, findings);
      continue;
    }
    moveClock(document->root(), own.now);
    Line(*document, own, findings).check();
  }
}

}  // namespace apps::check
