#include "Apps/Check/Check.h"

#include <algorithm>
#include <array>
#include <map>

#include "Apps/Check/Checker.h"
#include "Apps/Check/Scenario.h"

namespace apps::check {

namespace {

struct KindName {
  Kind kind;
  std::string_view name;
};

constexpr KindName kKinds[] = {{Kind::payload, "payload"},
                               {Kind::campaigns, "campaigns"},
                               {Kind::condition, "condition"},
                               {Kind::configuration, "configuration"},
                               {Kind::scenario, "scenario"}};

bool isUtf16(std::string_view text) {
  const bool isMarked = text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF");
  return isMarked || (text.size() > 1 && (text[0] == '\0') != (text[1] == '\0'));
}

void checkDocument(Kind kind, const Document& document, const Options& options, Findings& findings) {
  const bool commentsAreRead = kind == Kind::campaigns || kind == Kind::configuration || options.allowComments;
  if (document.firstComment() && !commentsAreRead) {
    findings.add(document.placeOf(*document.firstComment()), Severity::error,
                 "a comment stands here, and a device, which reads this as it is sent, refuses all of it",
                 "take it out");
  }
  Checker checker(document, options, findings, Checker::Use::sent);
  checker.duplicates();
  const Item root = document.root();
  if (kind == Kind::payload) return checker.pushPayload(root);
  if (kind == Kind::campaigns) return checker.campaignAnswer(root);
  if (kind == Kind::condition) return checker.condition(root);
  checker.configuration(root);
}

std::vector<std::string> keysOf(std::string_view text) {
  constexpr std::size_t kEnough = std::size_t{1} << 20;
  const Document document = Document::sketch(text.substr(0, kEnough));
  Item root = document.root();
  if (root.is(Type::array) && root.firstInside()) root = root.firstInside();
  if (!root.is(Type::object)) return {};
  // A payload that somebody has wrapped in something.
  const Item only = root.firstInside();
  if (only && !only.next(root) && (only["aps"] || only["zintar"])) root = only;
  std::vector<std::string> keys;
  for (Item each = root.firstInside(); each; each = each.next(root)) keys.push_back(each.key());
  return keys;
}

/// The lines of a scenario are objects with "do".
bool isScenario(std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.starts_with('#')) return true;  // nowhere else is that a comment
    if (isSkippedLine(line)) continue;
    return Document::sketch(line).root()["do"].is(Type::text);
  }
  return false;
}

}  // namespace

void addSyntaxError(const zn::JsonError& error, Findings& findings) {
  const std::size_t colon = error.text.find(": ");
  const std::string reason = colon == error.text.npos ? error.text : error.text.substr(colon + 2);
  struct Advice {
    const char* reason;
    const char* advice;
  };
  constexpr Advice kAdvice[] = {
      {"not valid UTF-8", "save it as UTF-8"},
      {"a key in double quotes", "look for a comma before } and for a key without double quotes"},
      {"a value is missing", "look for a comma too many"},
      {"' or '", "look for a missing comma or bracket before this"},
      {"unexpected characters", "JSON has true, false, null, numbers, and texts in straight double quotes"},
      {"too early", "look for a missing bracket or quotation mark"},
      {"after the end", "look for a bracket too many"},
      {"control character", "write \\n for a line break and \\t for a tab"},
      {"escape", "write \\\\ for a backslash"}};
  const auto fits = [&](const Advice& each) { return reason.find(each.reason) != reason.npos; };
  const auto* found = std::find_if(std::begin(kAdvice), std::end(kAdvice), fits);
  findings.add({error.line, error.column}, Severity::error, "this is no JSON: " + reason,
               found == std::end(kAdvice) ? "" : found->advice);
}

std::vector<Finding> check(Kind kind, std::string_view text, const Options& options) {
  Findings findings;
  zn::JsonError error;
  if (isUtf16(text)) {
    findings.add({1, 1}, Severity::error, "this is UTF-16, which no device reads", "save it as UTF-8");
  } else if (kind == Kind::scenario) {
    checkScenario(text, options, findings);
  } else if (const auto document = Document::read(text, true, error)) {
    checkDocument(kind, *document, options, findings);
  } else {
    addSyntaxError(error, findings);
  }
  return findings.take();
}

std::optional<Kind> kindOf(std::string_view text) {
  if (isScenario(text)) return Kind::scenario;
  const std::vector<std::string> keys = keysOf(text);
  struct Candidate {
    Kind kind;
    std::string_view object;
  };
  constexpr Candidate kCandidates[] = {{Kind::payload, "payload"},
                                       {Kind::campaigns, "triggers"},
                                       {Kind::campaigns, "campaign"},
                                       {Kind::campaigns, "segments"},
                                       {Kind::campaigns, "segment"},
                                       {Kind::campaigns, "inbox"},
                                       {Kind::campaigns, "message"},
                                       {Kind::campaigns, "push"},
                                       {Kind::campaigns, "fault"},
                                       {Kind::condition, "test"},
                                       {Kind::configuration, "configuration"}};
  std::optional<Kind> best;
  int most = 0;
  for (const auto& [kind, object] : kCandidates) {
    int points = 0;
    for (const std::string& key : keys) {
      points += objectKind(object).key(key) ? 3 : objectKind(object).nearest(key) ? 1 : 0;
    }
    if (points > most) best = kind;
    most = std::max(most, points);
  }
  // What nothing can read is checked as anything, since that is what is said of it.
  if (!best && (isUtf16(text) || !zn::parseJson(text, nullptr, {.allowComments = true}))) return Kind::payload;
  return best;
}

std::string_view nameOf(Kind kind) { return kKinds[static_cast<std::size_t>(kind)].name; }

std::optional<Kind> kindNamed(std::string_view name) {
  const auto* found =
      std::find_if(std::begin(kKinds), std::end(kKinds), [&](const auto& each) { return each.name == name; });
  return found == std::end(kKinds) ? std::nullopt : std::optional(found->kind);
}

std::string lineFor(const std::string& file, const Finding& finding) {
  std::string line = file + ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column);
  line += finding.severity == Severity::error ? ": error: " : ": warning: ";
  line += finding.sentence;
  return finding.advice.empty() ? line : line + " (" + finding.advice + ")";
}

}  // namespace apps::check
