#include "Apps/zinserver/Options.h"

#include "Apps/CommandLine.h"
#include "Apps/Push/Sender.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zinserver {

namespace {

constexpr const char* kAbout =
    R"(zinserver: a campaign server for development

  Answers the requests of applications that use ZNMessaging from JSON files, keeps what it received,
  and misbehaves on demand. There is no login and no TLS: keep it on this machine. Runs until it is
  interrupted. Comments (// and /* */) are allowed in all files.

  Web pages cannot use it: a request with another page's Origin, or with a Host that is neither an
  address, "localhost", this machine's name nor the one given with --host, gets status 403.
)";

constexpr const char* kMore =
    R"(OUTPUT
  The first line on standard output is "listening on http://ADDRESS:PORT". Standard error has one
  line for each request, and the reason where it could not be answered; and, once for each version
  of a file, what zincheck says of it.

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

PUSHES
  The server knows the devices whose records it received among the events, and pushes to them so
  that only they can read it (Web Push), with a key of its own. Subscriptions that a push server
  calls gone are forgotten.
  GET /push          {"key": BASE64URL}: the public key, which applications name when they register
                     for pushes. With --state it is kept, in DIR/vapid.pem.
  POST /push         {"device": ID, "payload": PUSH PAYLOAD}, or "all": true instead of a device,
                     and if wanted "ttl": SECONDS (86400), "urgency": "very-low", "low", "normal" or
                     "high", "topic": NAME. The answer, when all push servers have answered:
                     {"results": [{"device": ID, "outcome": OUTCOME, "text": FOR PEOPLE}]}, an
                     OUTCOME being accepted, gone, tooLarge, slowDown, refused, notReached or failed.
                     zinpush --via asks for that.
  GET /devices       [{"id": ID, "since": SECONDS SINCE 1970, "lastRecord": SECONDS SINCE 1970,
                     "attributes": THE USER'S, "endpoint": ITS BEGINNING}]
  DELETE /devices/ID   Forgets that device until its next record.
  pushes.json in the folder, an array of {"id": TEXT, "payload": PUSH PAYLOAD} with "ttl", "urgency"
  and "topic" if wanted, is pushed to all devices, each push once to a device: at once, and to
  devices that come later when they come. A push server that is not reached, or wants to be left
  alone, is tried again. A mistake in the file is said once on standard error.

WHAT WAS RECEIVED
  GET /received      The requests to services, oldest first: [{"time": SECONDS SINCE 1970,
                     "service": NUMBER, "body": BODY, "fault": FAULT}], the fault where its answer
                     suffered one. A body that is not JSON is its text. The last 1000 are kept, and
                     of those at most 16 MiB. Device tokens are in there, as they came: who has one
                     can push to that device.
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
  2  An option cannot be used, or the address or the state is taken. Standard error says which and
     why.
)";

}  // namespace

std::optional<int> readOptions(int count, char** arguments, Options& options) {
  constexpr int kHighestPort = 65535;
  apps::CommandLine line(kAbout, [] { return kMore; });
  line.text("--folder DIR", "Where the files are (needed). They are read again for every request.", options.folder,
            apps::CommandLine::Need::required);
  line.text("--host ADDRESS", "The address to listen at (127.0.0.1).", options.host);
  line.text("--state DIR", "Where devices and the key for pushes are kept (nowhere); made if missing.", options.state);
  line.number("--port NUMBER", "The port (8088); 0 picks one that is free.", options.port, 0, kHighestPort);
  line.text("--contact URL", "Whom people of push servers may turn to, such as mailto:push@example.com.",
            options.contact);
  line.check([&] {
    try {
      if (!options.contact.empty()) push::checkContact(options.contact);
    } catch (const zn::Exception& problem) {
      throw apps::UsageError("option --contact: " + problem.reason());
    }
  });
  return line.read(count, arguments);
}

}  // namespace zinserver
