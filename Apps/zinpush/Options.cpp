#include "Apps/zinpush/Options.h"

#include <climits>
#include <functional>

#include "Apps/CommandLine.h"
#include "Apps/Push/Sender.h"
#include "Apps/zinpush/Secrets.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zinpush {

namespace {

constexpr const char* kAbout =
    R"(zinpush: sends encrypted pushes

  Encrypts a payload so that only one device can read it, and posts it to that device's push server
  (Web Push: RFC 8030, 8291 and 8292). Or has a zinserver do so for the devices that it knows.
)";

constexpr const char* kMore =
    R"(PAYLOADS
  PAYLOAD is a file with a JSON object; - is standard input. Comments (// and /* */) are allowed,
  and taken out. What is sent has at most 3993 bytes. What a device would not understand or not show is
  said on standard error before anything is sent; with --strict nothing is sent then.

SUBSCRIPTIONS
  SUBSCRIPTION is a file, or the hexadecimal device token itself. The file holds that token or
  {"endpoint": URL, "keys": {"auth": BASE64URL, "p256dh": BASE64URL}}. Who knows it can push, and
  others may see command lines: prefer a file. A token that is given itself is overwritten at once.
  The endpoint must begin with https, or be of this machine. Redirects are not followed. Proxies are
  taken from the environment (https_proxy, no_proxy), but not for this machine.

THE SENDER'S KEY
  Push servers know a sender by its key, and devices subscribe for one. It is kept in
  $XDG_CONFIG_HOME/zinpush/vapid.pem (or ~/.config), or in the file given with --key: made on first
  use, never overwritten, and refused where others can read it. Keep a copy: who loses it has to
  have all devices subscribe anew. With --via the key is zinserver's.

OUTPUT
  A line on standard output for each push, with the device's id before it for --all: "accepted", or
  what became of it. Neither payloads nor endpoints nor keys are shown. --repeat ends with the first
  push that was not accepted, --stdin does not.

EXAMPLES
  $ zinpush --print-key
  $ zinpush --to subscription.json --ttl 3600 --urgency high payload.json
  $ zinpush --all --via http://127.0.0.1:8088 payload.json
  $ make-payloads | zinpush --to subscription.json --stdin

EXIT STATUS (of several pushes that of the first one that was not accepted)
  0  All were accepted by the push server, or it printed this text or the key.
  1  A push failed otherwise, or --strict had something to say. Standard error says what.
  2  An option, the subscription, the key or a payload cannot be used.
  3  The subscription is gone: forget it.
  4  Too large.
  5  Slow down: the push server does not want more for now.
  6  The push server does not know this sender's key.
  7  The push server, or zinserver, was not reached.
)";

void require(bool condition, const std::string& otherwise) {
  if (!condition) throw apps::UsageError(otherwise);
}

/// What throws zn::Exception is a mistake in that option.
void check(const std::string& option, const std::string& value, const std::function<void(const std::string&)>& check) {
  if (value.empty()) return;
  try {
    check(value);
  } catch (const zn::Exception& problem) {
    throw apps::UsageError("option --" + option + ": " + problem.reason());
  }
}

void check(const Options& options) {
  check("urgency", options.message.urgency, push::checkUrgency);
  check("topic", options.message.topic, push::checkTopic);
  check("contact", options.contact, push::checkContact);
  if (options.printKey) return;
  const int targets = !options.to.empty() + !options.device.empty() + options.all;
  require(targets == 1, "one of --to, --device and --all is needed");
  require(options.to.empty() == !options.via.empty(), "--via goes with --device or --all, which need it");
  require(options.via.empty() || (options.keyFile.empty() && options.contact.empty()),
          "--key and --contact do not go with --via: zinserver uses its own");
  require(options.payload.empty() == options.lines, "a PAYLOAD is needed, or --stdin instead of it");
  require(!options.lines || options.repeat == 1, "--repeat does not go with --stdin");
}

}  // namespace

std::optional<int> readOptions(int count, char** arguments, Options& options) {
  // What is said of an argument in the wrong place would show it.
  for (int index = 1; index < count; ++index) {
    const bool isInPlace = std::string_view(arguments[index - 1]) == "--to";
    if (isToken(arguments[index]) && !isInPlace) return apps::wrongUsage("a device token goes with --to");
  }
  apps::CommandLine line(kAbout, [] { return kMore; });
  push::Message& message = options.message;
  line.text("PAYLOAD FILE", "The payload, a file; - is standard input.", options.payload);
  line.text("--to SUBSCRIPTION", "Whom to push to; see below.", options.to);
  line.text("--via ADDRESS", "Have a zinserver push, such as http://127.0.0.1:8088.", options.via);
  line.text("--device ID", "With --via: the device, as its GET /devices shows it.", options.device);
  line.flag("--all", "With --via: all devices.", options.all);
  line.number("--ttl SECONDS", "How long it is kept for a device that is away (86400); 0: not at all.",
              message.secondsToLive, 0, push::Message::kLongestLife);
  line.text("--urgency WORD", "very-low, low, normal or high: what may wait for a device to save power.",
            message.urgency);
  line.text("--topic NAME", "Replaces an undelivered push of that name (letters, digits, - and _).", message.topic);
  line.text("--key FILE", "The file with this sender's key; see below.", options.keyFile);
  line.text("--contact URL", "Whom the push server's people may turn to, such as mailto:push@example.com.",
            options.contact);
  line.number("--repeat NUMBER", "Send it so many times.", options.repeat, 1, INT_MAX);
  line.flag("--stdin", "Send each line of standard input, a payload each.", options.lines);
  line.each(
      "--links SCHEME,...", "Schemes of links that the application opens beside http and https; others\nare then said.",
      [&](const std::string& scheme) { options.linkSchemes.push_back(scheme); }, ',');
  line.flag("--strict", "Send nothing that there is something to say about.", options.strict);
  line.flag("--print-key", "Print this sender's public key in base64url, and end.", options.printKey);
  line.check([&] { check(options); });
  return line.read(count, arguments);
}

}  // namespace zinpush
