#include "Apps/zinsim/Options.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "Apps/CommandLine.h"
#include "Apps/zinsim/Commands.h"
#include "Apps/zinsim/Operations.h"
#include "ZNDevices/Simulator/Simulator.h"

namespace zinsim {

namespace {

constexpr const char* kAbout =
    R"(zinsim: run the messaging module on a simulated device

  Reads commands, one JSON object a line, and prints what the module did, one JSON object a line.
  Blank lines and lines that start with # are skipped. The same commands print the same bytes on
  every run.
)";

constexpr const char* kStatusTimeAndValues =
    R"(EXIT STATUS
  0  Every line ran.
  1  The output could not be written, or is not what --expect names.
  2  A line or an option cannot be used. Standard error says which and why; the lines after it are
     not run.

TIME AND ORDER
  The clock starts at 1700000000.0 seconds since 1970, in UTC, and moves only when a command moves
  it. One task runs at a time: all queues, the server's answers and the notification centre's
  completions stand in one line, in the order in which they were queued. A command runs until
  nothing is due.

VALUES
  JSON values stand for themselves. {"$date": SECONDS} is a date, {"$data": "HEX"} is data. null is
  nil where an argument may be absent, and stays null inside a payload. Fields that a command does
  not know are ignored with a warning (with --strict they are errors), without one if named
  "comment" or beginning with "_".
)";

constexpr const char* kArguments =
    R"(
ARGUMENTS OF CALLS, in the selector's order; what is left out at the end is null
  a payload or attributes    as they are; also for what a device trigger shows
  a campaign                 the id of a stored one, or a dictionary as the server sends it
  what device triggers keep  {"$class": "ZNDeviceTriggers", CODER KEY: value, ...}, as for archive
  a trigger's post info      {"campaign": ..., "payload": {...}, "isOffline": false}
  a notification request     as its effect is printed: {"notification": ..., "title": ..., ...}
  a time trigger             its seconds
  the application            "application"
  the notification centre    "center"
  a notification response    {"payload": {...}, "action": "default"}
  a notification             {"payload": {...}}
  a device token             {"$data": "HEX"}
  a set of categories        [{"identifier": ..., "actions": [{"identifier": ..., "title": ...}]}];
                             any other element stands for an object that is no category
  a card's actions           [{"actionName": 0, "actionType": n, "value": ..., "kvPairs": {...}}]
  a host object              the class name given to object, appDelegate or centerDelegate
  a completion               "completion", which prints {"completion": value}; or null for none
)";

constexpr const char* kEffectsAndExamples =
    R"(
EFFECTS
  {"log": text, "type": n}                       an ordinary log line
  {"error": text, "operation": selector}         a failure was caught and logged
  {"syslog": text}                               a line for the system log
  {"event": name, "attributes": {...}, "interactive": bool}
                                                 an event was tracked
  {"flush": true}                                queued events shall be sent now
  {"userAttribute": key, "value": value}         a user attribute was set
  {"sources": [{"kind": kind, "value": value}]}  where the user came from was noted for the session
  {"analytics": what, ...}                       another call on the analytics module
  {"config": "pushOptedOut", "value": bool}      the core's opt-out state was set
  {"optOutEvents": [names]}                      the white-listed events were handed over
  {"request": service, "body": {...}}            a request was executed
  {"badge": n}                                   the icon badge was set
  {"registered": "remote"}                       the application asked for remote registration
  {"authorization": options}                     permission was asked for
  {"categories": [...]}                          categories were registered
  {"broadcast": name, "userInfo": {...} or null} a notification was posted on the default centre
  {"open": "deeplink" or "landing", "url": text} a link was opened
  {"alert": title, "buttons": [...], "message": text}
                                                 an alert was presented
  {"pasteboard": text}                           text was put on the pasteboard
  {"delegate": selector, "arguments": [...]}     the messaging delegate, or the inbox screen's, was
                                                 called
  {"host": "CLASS selector"}                     an operation of a host object ran
  {"presentation": options}                      a will-present completion handler was called
  {"responded": true}                            a did-receive completion handler was called
  {"backgroundTask": "begin" or "end"}           a background task began or ended
  {"notification": identifier, ...}              a local notification was requested
  {"notificationRemoved": identifier}            one that still waited for its delay was taken back
  {"saved": "inbox"}                             the inbox file was written
  {"returned": value}                            what a call returned
  {"completion": value}                          what a call's completion was called with
  {"check": kind, "findings": [...]}             what is wrong with it
  {"defaults": value, "key": key, "store": store}, {"exists": bool, "path": path}, {"inbox": [...]}
                                                 what a command asked for

EXAMPLES
  What does a click on this push do?

    $ zinsim --only event,badge,saved click.jsonl
    {"badge": 0}
    {"saved": "inbox"}
    {"event": "NOTIFICATION_CLICKED_IOS_ZIN", "attributes": {"cid": "c1"}, "interactive": true}

  where click.jsonl holds

    {"do": "call", "on": "ZNMessaging", "operation": "sharedInstance"}
    {"do": "tap", "payload": {"aps": {"alert": "Hello"}, "zintar": {"cid": "c1"}}}

  Does it still do that? As a test, once the difference that shows was found right:

    $ zinsim --strict --except log --expect click.expected --update click.jsonl
    $ zinsim --strict --except log --expect click.expected click.jsonl

  Is the click still in the inbox after a relaunch?

    $ zinsim --home my-device click.jsonl
    $ echo '{"do": "inbox"}' | zinsim --home my-device
)";

void appendIndented(std::string& text, std::string_view lines, std::string_view indent) {
  for (std::size_t start = 0; start <= lines.size();) {
    const std::size_t end = std::min(lines.find('\n', start), lines.size());
    text += indent;
    text += lines.substr(start, end - start);
    text += '\n';
    start = end + 1;
  }
}

void appendCommand(std::string& text, const Command& command) {
  constexpr std::size_t column = 30;
  text += "  " + std::string(command.name) + "\n";
  appendIndented(text, command.about, "    ");
  for (const Field& field : command.fields) {
    std::string line = "      " + std::string(field.name) + (field.need == Need::required ? "*" : "");
    line.resize(std::max(line.size() + 2, column + 6), ' ');
    text += line + (field.choices.empty() ? field.shape.expected : choicesText(field)) + "\n";
  }
}

/// What follows the options in the help.
std::string furtherHelp() {
  std::string text = kStatusTimeAndValues;
  text += "\nCOMMANDS (\"do\": name; fields with * are needed)\n";
  for (const Command& command : allCommands()) appendCommand(text, command);
  text += kArguments;
  text += "\nOPERATIONS of \"call\"\n";
  for (const OperationTable& table : allOperations()) {
    text += "  " + std::string(table.className) + "\n";
    for (const Operation& each : table.operations) text += "    " + std::string(each.selector) + "\n";
  }
  return text + kEffectsAndExamples;
}

}  // namespace

std::optional<int> readOptions(int count, char** arguments, Options& options) {
  apps::CommandLine line(kAbout, furtherHelp);
  line.text("FILE", "The commands; standard input without one, or with \"-\".", options.file);
  line.text("--home DIR",
            "Where the device keeps its files; made when missing and kept afterwards, so that\n"
            "a second run is a relaunch of the same installation. Without it: a fresh folder\n"
            "that is removed at the end, in memory where the machine has room there, unless\n"
            "TMPDIR in the environment names a place; effects call it ~.",
            options.home);
  const auto addTo = [](std::set<std::string>& kinds, const char* option) {
    return [&kinds, option](const std::string& kind) {
      const auto& known = zn::effectKinds();
      if (std::find(known.begin(), known.end(), kind) == known.end()) {
        throw apps::UsageError(std::string(option) + ": there is no kind of effect \"" + kind + "\"");
      }
      kinds.insert(kind);
    };
  };
  line.each("--only KIND,...",
            "Print effects of these kinds only. The kind is the first key of an effect's\n"
            "line.",
            addTo(options.only, "--only"), ',');
  line.each("--except KIND,...", "Leave out effects of these kinds.", addTo(options.except, "--except"), ',');
  line.flag("--strict", "A field that a command does not know is an error, which ends the run.", options.strict);
  line.text("--expect FILE",
            "Print nothing but how the output differs from this file, if it does. The file's\n"
            "lines of kinds that --except leaves out count for nothing.",
            options.expect);
  line.flag("--update", "With --expect: write the output into the file, if it differs.", options.update);
  line.check([&] {
    if (options.update && options.expect.empty()) throw apps::UsageError("--update needs --expect FILE");
  });
  return line.read(count, arguments);
}

}  // namespace zinsim
