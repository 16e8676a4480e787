// zinstory: tells on the simulated device what becomes of push notifications.

#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "Apps/zinstory/Shop.h"
#include "Apps/zinstory/Starts.h"
#include "Apps/zinstory/Story.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/TemporaryFolder_p.h"

namespace {

constexpr int kFailed = 1;
constexpr int kWrongUsage = 2;
constexpr int kSignalled = 128;  // added to the signal's number, as shells do

constexpr const char* kHelp =
    R"(Usage: zinstory (--payload FILE | --payloads DIR)... [--campaigns DIR]

Tells, on the simulated device, what becomes of push notifications: received, clicked, dismissed, kept in the inbox,
and still there after the application was started again. Nothing leaves this machine; all files are temporary.

  --payload FILE   a push payload, as a JSON object
  --payloads DIR   all *.json files in that folder, by name
  --campaigns DIR  also tell what an inbox takes in and what becomes of events, with zinserver and zinextension (beside
                   this program) and the campaigns there
  --help           this text
)";

struct Options {
  bool help = false;
  std::vector<std::string> files;
  std::string campaigns;
};

int complain(const std::string& text, int status) {
  std::fprintf(stderr, "zinstory: %s\n", text.c_str());
  return status;
}

class UsageError : public zn::Exception {
 public:
  using zn::Exception::Exception;
};

Options parsedOptions(const std::vector<std::string>& arguments) {
  Options options;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& argument = arguments[i];
    const std::string name = argument.substr(0, argument.find('='));
    if (argument == "--help" || argument == "-h") {
      options.help = true;
    } else if (name == "--payload" || name == "--payloads" || name == "--campaigns") {
      std::string value = argument.size() > name.size() ? argument.substr(name.size() + 1) : "";
      if (argument == name && i + 1 < arguments.size()) value = arguments[++i];
      if (value.empty()) throw UsageError("option " + name + " needs a value");
      if (name == "--payload") {
        options.files.push_back(value);
      } else if (name == "--campaigns") {
        options.campaigns = value;
      } else {
        for (const std::string& file : zinstory::payloadFilesIn(value)) options.files.push_back(file);
      }
    } else {
      throw UsageError("unknown option " + argument);
    }
  }
  if (!options.help && options.files.empty()) throw UsageError("no payload is named");
  return options;
}

int run(const std::function<void()>& body) {
  try {
    body();
  } catch (const zn::Exception& problem) {
    return complain(problem.reason(), kFailed);
  } catch (const std::exception& problem) {
    return complain(problem.what(), kFailed);
  }
  if (std::fflush(stdout) != 0) return complain(std::string("standard output: ") + std::strerror(errno), kFailed);
  return 0;
}

/// One start of the application; returns its exit status.
int start(zinstory::Starts& starts, const std::function<void()>& body) {
  const int status = starts.run([&] { return run(body); });
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
  try {
    const Options options = parsedOptions(std::vector<std::string>(arguments + 1, arguments + count));
    if (!options.help) return tell(options);
    return run([] { std::fputs(kHelp, stdout); });
  } catch (const UsageError& problem) {
    return complain(problem.reason() + "\nTry 'zinstory --help'.", kWrongUsage);
  } catch (const zn::Exception& problem) {
    return complain(problem.reason(), kFailed);
  } catch (const std::exception& problem) {
    return complain(problem.what(), kFailed);
  }
}
