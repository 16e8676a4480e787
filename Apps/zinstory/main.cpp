// zinstory: tells on the simulated device what becomes of push notifications.

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Apps/CommandLine.h"
#include "Apps/zinstory/Shop.h"
#include "Apps/zinstory/Starts.h"
#include "Apps/zinstory/Story.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/TemporaryFolder_p.h"

namespace {

using apps::complain;
using apps::kFailed;
using zinstory::kSignalled;

constexpr const char* kAbout =
    R"(zinstory: what becomes of push notifications, told on the simulated device

  They are received, clicked, dismissed, kept in the inbox, and still there after the application
  was started again. Nothing leaves this machine; all files are temporary.
)";

struct Options {
  std::vector<std::string> files;
  std::string campaigns;
};

std::optional<int> readOptions(int count, char** arguments, Options& options) {
  apps::CommandLine line(kAbout, [] { return ""; });
  line.each("--payload FILE", "A push payload, as a JSON object; may be given several times.",
            [&](const std::string& file) { options.files.push_back(file); });
  line.each("--payloads DIR", "All *.json files in that folder, by name.", [&](const std::string& folder) {
    for (const std::string& file : zinstory::payloadFilesIn(folder)) options.files.push_back(file);
  });
  line.text("--campaigns DIR",
            "Also tell what an inbox takes in and what becomes of events, with zinserver and\n"
            "zinextension (beside this program) and the campaigns there.",
            options.campaigns);
  line.check([&] {
    if (options.files.empty()) throw apps::UsageError("no payload is named");
  });
  return line.read(count, arguments);
}

int complainOfExceptions(const std::function<int()>& body) {
  try {
    return body();
  } catch (const std::exception& problem) {
    return complain(problem.what(), kFailed);
  }
}

/// One start of the application; returns its exit status.
int start(zinstory::Starts& starts, const std::function<void()>& body) {
  const int status = starts.run([&] {
    return complainOfExceptions([&] {
      body();
      return apps::finishOutput();
    });
  });
  if (status > kSignalled && status != kSignalled + SIGPIPE && !starts.isAskedToEnd()) {
    complain(zn::format("a start of the application ended by signal %d", status - kSignalled), kFailed);
  }
  return status;
}

bool showsColours() {
  const char* terminal = ::secure_getenv("TERM");
  return isatty(STDOUT_FILENO) && !::secure_getenv("NO_COLOR") && terminal && std::strcmp(terminal, "dumb") != 0;
}

int tell(const Options& options) {
  std::vector<zinstory::Payload> payloads;
  for (const std::string& file : options.files) payloads.push_back(zinstory::readPayload(file));
  zinstory::Starts starts;
  const zn::TemporaryFolder home("zinstory");
  zinstory::Page page(showsColours());
  int status = start(starts, [&] { zinstory::tellFirstStart(page, home.path(), payloads); });
  if (status == 0) status = start(starts, [&] { zinstory::tellSecondStart(page, home.path()); });
  if (status != 0 || options.campaigns.empty()) return status;
  return start(starts, [&] { zinstory::tellShop(page, home.path() + "/shop", options.campaigns); });
}

}  // namespace

int main(int count, char** arguments) {
  return complainOfExceptions([&] {
    Options options;
    const auto status = readOptions(count, arguments, options);
    return status ? *status : tell(options);
  });
}
