// zinsim: runs scenarios on the simulated device.

#include <signal.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "Apps/CommandLine.h"
#include "Apps/zinsim/Expectation.h"
#include "Apps/zinsim/LineReader.h"
#include "Apps/zinsim/Options.h"
#include "Apps/zinsim/Session.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZintarCore/ZNLogger.h"

namespace {

/// Whether somebody may be waiting for the answer to each command.
bool isInteractive(std::FILE* output) {
  struct stat status = {};
  return fstat(fileno(output), &status) != 0 || !S_ISREG(status.st_mode);
}

int runScenario(zinsim::LineReader& input, const zinsim::Options& options, zinsim::Session& session) {
  const bool flushes = isInteractive(stdout);
  const std::string file = options.file == "-" ? "" : options.file + ": ";
  long number = 0;
  while (const auto line = input.next()) {
    ++number;
    const std::string place = file + "line " + std::to_string(number) + ": ";
    const auto warn = [&](const std::string& problem) {
      if (options.strict) throw apps::UsageError(problem);
      apps::complain(place + problem + ", which is ignored", 0);
    };
    try {
      zinsim::runLine(*line, session, warn);
    } catch (const apps::UsageError& problem) {
      return apps::complain(place + problem.what(), apps::kUnusable);
    }
    if ((flushes && std::fflush(stdout) != 0) || std::ferror(stdout)) break;
  }
  return apps::finishOutput();
}

int run(const zinsim::Options& options) {
  zinsim::LineReader input(options.file);
  std::optional<zinsim::Expectation> expectation;
  if (!options.expect.empty()) expectation.emplace(options.expect, options.update);
  std::string printed;  // kept for the expectation
  const auto show = [&](const zn::Effect& effect) {
    if (!options.shows(effect.kind)) return;
    const std::string line = effect.line() + "\n";
    if (expectation) {
      printed += line;
    } else {
      std::fwrite(line.data(), 1, line.size(), stdout);
    }
  };
  const auto device = zn::Simulator::install({options.home});
  // As in a host, where nobody reads the log: the module must do the same without it.
  if (std::getenv("ZINSIM_WITHOUT_LOG")) ZNLogger::sharedInstance()->setObserver(nullptr);
  int status;
  {
    zinsim::Session session(device, show);
    status = runScenario(input, options, session);
  }
  if (const int signal = zinsim::LineReader::endedBySignal()) {
    device->shutDown();
    raise(signal);  // its handler is gone: whoever sent it sees that it was heard
  }
  return expectation && status == 0 ? expectation->check(printed, options.except) : status;
}

}  // namespace

int main(int count, char** arguments) {
  signal(SIGPIPE, SIG_IGN);  // a reader that goes away is a failed write, and everything is put away
  zinsim::Options options;
  if (const auto status = zinsim::readOptions(count, arguments, options)) return *status;
  try {
    return run(options);
  } catch (const apps::UsageError& problem) {
    return apps::complain(problem.what(), apps::kUnusable);
  } catch (const zn::Exception& problem) {
    return apps::complain(problem.reason(), apps::kUnusable);
  }
}
