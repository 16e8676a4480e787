#include "Apps/zindistributor/Options.h"

#include <systemd/sd-bus.h>

#include "Apps/CommandLine.h"
#include "Apps/zindistributor/Distributor.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zindistributor {

namespace {

constexpr const char* kAbout =
    R"(zindistributor: a UnifiedPush distributor for development

  Applications register with it on the session's bus and get an endpoint, a URL of this machine.
  What is posted there is handed to the application, which the bus starts if it can, or kept until
  it runs. There is no TLS: keep it on this machine. Runs until it is interrupted.
)";

constexpr const char* kMore =
    R"(ENDPOINTS
  POST an endpoint   A message of 1 to 4096 bytes, as it is. Status 201: it is stored, and will be
                     delivered, in order, until the application has taken it or its TTL (header,
                     seconds) is over. Where it has a Topic (header), it takes the place of one of
                     that topic which was not delivered yet. 404: there is no such endpoint, or no
                     more. 413: too long. 400: a header cannot be used.
  An application that registers with a VAPID key ("vapid", version 2) takes pushes of that key's
  owner only: they need a TTL (400 without) and "Authorization: vapid t=TOKEN, k=KEY" (RFC 8292; 401
  without). 403: another key, a wrong signature, a token for another server, one that has expired or
  does so in more than 24 hours. zinpush sends all that.
  Who knows an endpoint may push, so the log shows its beginning only.

ON THE BUS
  org.unifiedpush.Distributor.NAME, /org/unifiedpush/Distributor, with the interfaces
  org.unifiedpush.Distributor1 and org.unifiedpush.Distributor2.

OUTPUT
  A JSON object a line on standard output, "event" being one of
  listening     with its "address"            registered    with "service" and "endpoint"
  on the bus    with its "name"               refused       a registration, with the "reason"
  off the bus   it is looked for again        unregistered  by the application, or by a fault
  received      a message, with its "id"      new endpoint  the application knows its "endpoint"
  delivered     the application has it        kept          until the application runs
  failed        with "why"; tried again       expired       its TTL was over first
  not taken     with the "status" and "why"   replaced      by a later one of its topic

FAULTS
  A fault is a JSON object; of several, each adds to those before.
    "refuse": REASON           registrations fail: INTERNAL_ERROR, NETWORK, ACTION_REQUIRED or
                               VAPID_REQUIRED
    "times": NUMBER            so many of them; without it all
    "delaySeconds": NUMBER     registrations are answered so late
    "silent": true             they are never answered
    "newEndpointAfter": NUMBER   the endpoint changes after so many messages, again and again
    "unregisterAfter": NUMBER  the application is told that it is unregistered after so many
    "twice": true              each message is sent twice
    "unknownToken": true       before each message one is sent that is for nobody

EXAMPLES
  $ zindistributor --folder ~/.local/share/zindistributor --show-endpoints
  $ curl -d '{"aps": {"alert": "Hello"}}' ENDPOINT   # without a VAPID key, and where plain pushes are taken

  Does the application register again, with pauses?

  $ zindistributor --folder DIR --fault '{"refuse": "NETWORK", "times": 3}'

EXIT STATUS
  0  It was interrupted, or printed this text.
  2  An option cannot be used, or the address or the folder is taken. Standard error says why.
)";

}  // namespace

std::optional<int> readOptions(int count, char** arguments, Options& options) {
  constexpr int kHighestPort = 65535;
  constexpr int kMostPatience = 3600;
  apps::CommandLine line(kAbout, [] { return kMore; });
  line.text("--folder DIR", "Where registrations and messages are kept (needed); made where it is missing.",
            options.folder, apps::CommandLine::Need::required);
  line.text("--name NAME", "The last part of its name on the bus (zindistributor).", options.name);
  line.number("--port NUMBER", "The port (8089); 0 picks one that is free.", options.port, 0, kHighestPort);
  line.number("--only VERSION", "Serve version 1 or version 2 of the interface only.", options.onlyVersion, 1, 2);
  line.number("--patience SECONDS", "How long an application may take to answer (25).", options.patience, 1,
              kMostPatience);
  line.flag("--show-endpoints", "Write whole endpoints into the log.", options.showEndpoints);
  line.each("--fault FAULT", "What goes wrong; see below.", [&](const std::string& text) {
    try {
      options.faults.add(text);
    } catch (const zn::Exception& refusal) {
      throw apps::UsageError("option --fault: " + refusal.reason());
    }
  });
  line.check([&] {
    if (!sd_bus_service_name_is_valid(busName(options).c_str())) {
      throw apps::UsageError("option --name: \"" + options.name + "\" cannot be part of a name on the bus");
    }
  });
  return line.read(count, arguments);
}

}  // namespace zindistributor
