// zinpush: sends encrypted pushes.

#include <signal.h>

#include <cstdio>
#include <iostream>
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

/// Sends one payload, says what became of it, and returns the exit status for that.
int send(const zinpush::Options& options, const zinpush::Target& target, std::string_view text,
         const std::string& from) {
  push::Message message = options.message;
  message.text = zinpush::payloadIn(text, from);
  int status = 0;
  for (const auto& [device, result] : target(message)) {
    std::puts(zn::singleLine(device.empty() ? result.text : device + ": " + result.text).c_str());
    if (status == 0) status = statusOf(result.outcome);
  }
  std::fflush(stdout);
  return status;
}

int sendLines(const zinpush::Options& options, const zinpush::Target& target) {
  int status = 0;
  std::string line;
  for (int number = 1; std::getline(std::cin, line); ++number) {
    if (line.empty()) continue;
    int own = 0;
    try {
      own = send(options, target, line, "payload " + std::to_string(number));
    } catch (const apps::UsageError& problem) {
      std::printf("not sent: %s\n", zn::singleLine(problem.what()).c_str());
      std::fflush(stdout);
      own = apps::kUnusable;
    }
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
  const std::string from = options.payload == "-" ? "standard input" : options.payload;
  int status = 0;
  for (int left = options.repeat; left > 0 && status == 0; --left) status = send(options, target, text, from);
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
