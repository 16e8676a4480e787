// zinpush: sends encrypted pushes.

#include <signal.h>

#include <cstdio>
#include <iostream>
#include <optional>
#include <string>

#include "Apps/CommandLine.h"
#include "Apps/Push/VapidKeyFile.h"
#include "Apps/zinpush/Options.h"
#include "Apps/zinpush/Payload.h"
#include "Apps/zinpush/Secrets.h"
#include "Apps/zinpush/Targets.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace {

using push::Outcome;

int statusOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::accepted:
      return 0;
    case Outcome::gone:
      return 3;
    case Outcome::tooLarge:
      return 4;
    case Outcome::slowDown:
      return 5;
    case Outcome::senderRefused:
      return 6;
    case Outcome::notReached:
      return 7;
    case Outcome::failed:
      break;
  }
  return apps::kFailed;
}

/// What is sent of a text; nothing where --strict keeps it back.
std::optional<std::string> prepared(const zinpush::Options& options, std::string_view text, const std::string& from) {
  std::string payload = zinpush::payloadIn(text, from);
  const bool isDoubtful = zinpush::complainAbout(text, from, options.linkSchemes);
  if (isDoubtful && options.strict) return std::nullopt;
  return payload;
}

/// Sends one payload, says what became of it, and returns the exit status for that.
int send(const zinpush::Options& options, const zinpush::Target& target, const std::string& payload) {
  push::Message message = options.message;
  message.text = payload;
  int status = 0;
  for (const auto& [device, result] : target(message)) {
    std::puts(zn::singleLine(device.empty() ? result.text : device + ": " + result.text).c_str());
    if (status == 0) status = statusOf(result.outcome);
  }
  std::fflush(stdout);
  return status;
}

int sendNothing(const std::string& why, int status) {
  std::printf("not sent: %s\n", zn::singleLine(why).c_str());
  std::fflush(stdout);
  return status;
}

int sendLine(const zinpush::Options& options, const zinpush::Target& target, const std::string& line,
             const std::string& from) {
  try {
    const auto payload = prepared(options, line, from);
    return payload ? send(options, target, *payload) : sendNothing("--strict", apps::kFailed);
  } catch (const apps::UsageError& problem) {
    return sendNothing(problem.what(), apps::kUnusable);
  }
}

int sendLines(const zinpush::Options& options, const zinpush::Target& target) {
  int status = 0;
  std::string line;
  for (int number = 1; std::getline(std::cin, line); ++number) {
    if (line.empty()) continue;
    const int own = sendLine(options, target, line, "payload " + std::to_string(number));
    if (status == 0) status = own;
  }
  return status;
}

int run(const zinpush::Options& options) {
  if (options.printKey) {
    const auto key = push::vapidKeyIn(zinpush::keyFileOf(options));
    std::puts(zn::base64UrlText(key.publicKey()).c_str());
    return 0;
  }
  const zinpush::Target target = zinpush::targetOf(options);
  if (options.lines) return sendLines(options, target);
  const std::string text = zinpush::readText(options.payload);
  const auto payload = prepared(options, text, options.payload == "-" ? "standard input" : options.payload);
  if (!payload) return sendNothing("--strict", apps::kFailed);
  int status = 0;
  for (int left = options.repeat; left > 0 && status == 0; --left) status = send(options, target, *payload);
  return status;
}

}  // namespace

int main(int count, char** arguments) {
  zinpush::Arguments own(count, arguments);  // first of all, and for as long as the options are read
  zinpush::keepOutOfCoreDumps();
  ::signal(SIGPIPE, SIG_IGN);  // of a push server that hangs up
  zinpush::Options options;
  if (const auto status = zinpush::readOptions(own.count(), own.all(), options)) return *status;
  try {
    const int status = run(options);
    const int printed = apps::finishOutput();
    return status ? status : printed;
  } catch (const apps::UsageError& problem) {
    return apps::complain(problem.what(), apps::kUnusable);
  } catch (const zn::Exception& problem) {
    return apps::complain(problem.reason(), apps::kUnusable);
  }
}
