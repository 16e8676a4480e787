#include "Apps/zinserver/Options.h"

#include <charconv>
#include <cstddef>
#include <optional>

#include "ZNPlatform/Foundation/Exception.h"

namespace zinserver {

namespace {

constexpr const char* kHelp =
    R"(zinserver: a campaign server for development

USAGE
  zinserver --folder DIR [--host ADDRESS] [--port NUMBER]

  Answers the requests of applications that use ZNMessaging from JSON files, keeps what it received,
  and misbehaves on demand. There is no login and no TLS: keep it on this machine. Runs until it is
  interrupted. Comments (// and /* */) are allowed in all files.

  Web pages cannot use it: a request with another page's Origin, or with a Host that is neither an
  address, "localhost", this machine's name nor the one given with --host, gets status 403.

OPTIONS
  --folder DIR      Where the files are. They are read again for every request.
  --host ADDRESS    The address to listen at (127.0.0.1).
  --port NUMBER     The port (8088); 0 picks one that is free.
  --help            Print this text.

  The first line on standard output is "listening on http://ADDRESS:PORT". Standard error has one
  line for each request, and the reason where it could not be answered.

SERVICES (POST, JSON objects; the paths are those of Examples/configuration.json)
  /v1/events      1   Events. Accepts everything.
  /v1/inbox       7   Inbox: the object in inbox.json,
                      {"messagesInfo": [{"data": PUSH PAYLOAD, "c_cr_t": SECONDS, "isRead": BOOL}]}.
  /v1/categories  8   Notification categories. Accepts everything.
  /v1/triggers    9   Campaigns: the object in triggers.json, {"campaigns": [CAMPAIGN],
                      "min_delay_across_campaigns": MILLISECONDS, "dnd_start_time": HHMM,
                      "dnd_end_time": HHMM, "user_not_found": BOOL}. With "only_changed": true
                      beside them only campaigns whose "last_updated" is later than the request's
                      "last_sync_time" are sent.
  /v1/segments    10  Whether the user is in a campaign's segment: segments.json holds
                      {"default": ANSWER, "campaigns": {CAMPAIGN ID: ANSWER}}, where an ANSWER is
                      {"user_in_segment": BOOL, "show_notification": BOOL, "payload": PUSH PAYLOAD}.
  A file that cannot be read or used is answered with status 500 and {"error": REASON}; a request
  that is no JSON object with 400.

WHAT WAS RECEIVED
  GET /received      The requests to services, oldest first: [{"time": SECONDS SINCE 1970,
                     "service": NUMBER, "body": BODY, "fault": FAULT}], the fault where its answer
                     suffered one. A body that is not JSON is its text. The last 1000 are kept, and
                     of those at most 16 MiB.
  DELETE /received   The same for the last time: it forgets them.

FAULTS
  POST /faults       The next requests to a service go wrong: {"service": NUMBER, "times": 1} and
                       "delaySeconds": NUMBER   wait before the answer
                       "status": NUMBER         answer with this status
                       "retryAfterSeconds": NUMBER   say when to come back (Retry-After)
                       "garbage": true          answer with a page of HTML
                       "truncate": true         break off in the middle of the body
                       "close": true            close the connection without an answer
                     A delay goes with any of the others. Faults of a service take turns in the
                     order in which they came.
  GET /faults        Those that are left.
  DELETE /faults     Forgets them.
  faults.json in the folder, an array of faults, holds for every request while it is there
  ("times" does not count). Posted ones come first.

EXAMPLES
  $ zinserver --folder Examples/campaigns
  listening on http://127.0.0.1:8088

  Is the campaign shown from its own content when the segment service is too slow?

  $ curl -d '{"service": 10, "delaySeconds": 60}' http://127.0.0.1:8088/faults
  $ curl http://127.0.0.1:8088/received

EXIT STATUS
  0  It was interrupted, or printed this text.
  2  An option cannot be used, or the address is taken. Standard error says which and why.
)";

std::optional<std::string> valueOf(const std::string& name, const std::vector<std::string>& arguments,
                                   std::size_t& index) {
  const std::string& argument = arguments[index];
  if (argument.starts_with(name + "=")) return argument.substr(name.size() + 1);
  if (argument != name) return std::nullopt;
  if (++index == arguments.size()) throw zn::Exception("option " + name + " needs a value");
  return arguments[index];
}

int portOf(const std::string& text) {
  constexpr int kHighest = 65535;
  int port = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
  if (error != std::errc{} || end != text.data() + text.size() || port < 0 || port > kHighest) {
    throw zn::Exception("option --port needs a number from 0 to 65535, not \"" + text + "\"");
  }
  return port;
}

}  // namespace

Options parsedOptions(const std::vector<std::string>& arguments) {
  Options options;
  for (std::size_t index = 0; index < arguments.size(); ++index) {
    if (arguments[index] == "--help" || arguments[index] == "-h") {
      options.help = true;
      return options;
    }
    if (const auto folder = valueOf("--folder", arguments, index)) {
      options.folder = *folder;
    } else if (const auto host = valueOf("--host", arguments, index)) {
      options.host = *host;
    } else if (const auto port = valueOf("--port", arguments, index)) {
      options.port = portOf(*port);
    } else {
      throw zn::Exception("unknown option " + arguments[index]);
    }
  }
  if (options.folder.empty()) throw zn::Exception("option --folder is needed");
  return options;
}

std::string helpText() { return kHelp; }

}  // namespace zinserver
