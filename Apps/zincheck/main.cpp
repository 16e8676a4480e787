// zincheck: says what is wrong with payloads, campaigns, conditions, configurations and scenarios.

#include <chrono>
#include <cstdio>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "Apps/Check/Check.h"
#include "Apps/Check/Description.h"
#include "Apps/CommandLine.h"
#include "Apps/zinsim/Commands.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace {

using apps::check::Finding;
using apps::check::Kind;
using zn::Value;

constexpr const char* kAbout =
    R"(zincheck: what is wrong with a payload, before it is sent

  Reads push payloads, what campaign, segment and inbox services answer, event conditions,
  configurations and scenarios for zinsim, and says what a device would silently make of a mistake:
  misspelt keys, wrong types, seconds for milliseconds, dates in the past, links that nothing opens,
  campaigns that are never shown.
)";

constexpr const char* kMore =
    R"(OUTPUT
  FILE:LINE:COLUMN: error|warning: SENTENCE (WHAT TO WRITE INSTEAD)
  An error is refused somewhere, or cannot do what was meant; a warning probably was not meant.
  Lines and columns begin with 1, columns count bytes. With --json:
  [{"file": ..., "line": ..., "column": ..., "severity": ..., "sentence": ..., "advice": ...}]

KINDS
  payload        a push payload, as it is sent
  campaigns      {"campaigns": [...]}, {"messagesInfo": [...]}, the answer of a segment service, one
                 campaign, or what else a folder of zinserver holds: segments.json, pushes.json and
                 faults.json; comments are allowed, as zinserver reads them
  condition      an event condition, or what stands under a campaign's "condition"
  configuration  what applications load, as Examples/configuration.json; comments are allowed
  scenario       lines for zinsim, with the payloads, campaigns and settings in them
  The keys of a file tell which it is.

EXAMPLES
  $ zincheck Examples/payloads/*.json Examples/campaigns/*.json
  $ echo '{"aps": {"alert": "Hello"}, "zintar": {"campain_id": "c1"}}' | zincheck -
  standard input:1:40: error: "campain_id" means nothing to a device: clicks are
  neither counted nor acted on, and the inbox cannot tell the message from others (write "cid")

EXIT STATUS
  0  Nothing was found, or this text was printed.
  1  Something was found.
  2  An option cannot be used, a file cannot be read, or nothing tells what it is.
)";

struct Options {
  std::vector<std::string> files;
  std::optional<Kind> kind;
  std::vector<std::string> schemes;
  std::string reference;
  bool isJson = false;
};

Kind kindFor(const std::string& name) {
  if (const auto kind = apps::check::kindNamed(name)) return *kind;
  throw apps::UsageError("there is no kind \"" + name +
                         "\"; use payload, campaigns, condition, configuration or scenario");
}

std::optional<int> readOptions(int count, char** arguments, Options& options) {
  apps::CommandLine line(kAbout, [] { return kMore; });
  line.each("FILE", "What to check; \"-\" is standard input.",
            [&](const std::string& file) { options.files.push_back(file); });
  line.each("--as KIND", "What the files are, where their keys do not tell.",
            [&](const std::string& name) { options.kind = kindFor(name); });
  line.each(
      "--links SCHEME,...",
      "Schemes of links that the application opens beside http and https; others\n"
      "are then findings.",
      [&](const std::string& scheme) { options.schemes.push_back(scheme); }, ',');
  line.flag("--json", "Print the findings as one JSON array.", options.isJson);
  line.text("--reference KIND", "Print the reference of payload or campaigns, in Markdown, and end.",
            options.reference);
  line.check([&] {
    if (options.files.empty() && options.reference.empty()) throw apps::UsageError("no file is named");
  });
  return line.read(count, arguments);
}

std::string readStandardInput() {
  std::string text;
  char bytes[64 * 1024];
  while (const std::size_t count = std::fread(bytes, 1, sizeof bytes, stdin)) text.append(bytes, count);
  if (std::ferror(stdin)) throw apps::UsageError("standard input cannot be read");
  return text;
}

std::string readText(const std::string& file) {
  if (file == "-") return readStandardInput();
  std::string error;
  const auto bytes = zn::readFile(file, &error);
  if (!bytes) throw apps::UsageError(error.empty() ? file + ": there is no such file" : error);
  return {bytes->begin(), bytes->end()};
}

Value jsonOf(const std::string& file, const Finding& finding) {
  const bool isError = finding.severity == Finding::Severity::error;
  return Value::dictionary({{"file", file},
                            {"line", finding.line},
                            {"column", finding.column},
                            {"severity", isError ? "error" : "warning"},
                            {"sentence", finding.sentence},
                            {"advice", finding.advice}});
}

/// Files that cannot be read do not keep the others from being checked.
int checkFiles(const Options& options) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const apps::check::Options checking{.now = std::chrono::duration<double>(now).count(),
                                      .linkSchemes = options.schemes,
                                      .lineProblems = zinsim::problemsIn};
  Value all = Value::array();
  int status = 0;
  for (const std::string& file : options.files) {
    const std::string name = zn::singleLine(file == "-" ? "standard input" : file);
    try {
      const std::string text = readText(file);
      const auto kind = options.kind ? options.kind : apps::check::kindOf(text);
      if (!kind) throw apps::UsageError(name + ": its keys do not tell what it is; say so with --as");
      for (const Finding& finding : apps::check::check(*kind, text, checking)) {
        if (status == 0) status = 1;
        if (options.isJson) {
          all.append(jsonOf(name, finding));
        } else {
          std::puts(apps::check::lineFor(name, finding).c_str());
        }
      }
    } catch (const apps::UsageError& problem) {
      status = apps::complain(problem.what(), apps::kUnusable);
    }
  }
  if (options.isJson) std::puts(zn::jsonText(all, zn::JsonStyle::spaced).c_str());
  const int written = apps::finishOutput();
  return written != 0 ? apps::kUnusable : status;
}

int printReference(const std::string& name) {
  const auto text = apps::check::reference(kindFor(name));
  if (!text) throw apps::UsageError("--reference: there is one of payload and of campaigns only");
  std::fputs(text->c_str(), stdout);
  return apps::finishOutput();
}

}  // namespace

int main(int count, char** arguments) {
  Options options;
  if (const auto status = readOptions(count, arguments, options)) return *status;
  try {
    return options.reference.empty() ? checkFiles(options) : printReference(options.reference);
  } catch (const apps::UsageError& problem) {
    return apps::complain(problem.what(), apps::kUnusable);
  }
}
