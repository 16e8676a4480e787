// zinsim: runs scenarios on the simulated device.

#include <signal.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "Apps/zinsim/Fields.h"
#include "Apps/zinsim/LineReader.h"
#include "Apps/zinsim/Options.h"
#include "Apps/zinsim/Scenario.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZintarCore/ZNLogger.h"

namespace {

constexpr int kOutputFailed = 1;
constexpr int kUnusable = 2;

/// Whether somebody may be waiting for the answer to each command.
bool isInteractive(std::FILE* output) {
  struct stat status = {};
  return fstat(fileno(output), &status) != 0 || !S_ISREG(status.st_mode);
}

int complain(const std::string& text) {
  std::fflush(stdout);
  std::fputs(("zinsim: " + text + "\n").c_str(), stderr);
  return kUnusable;
}

int finishOutput() {
  if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return 0;
  std::fprintf(stderr, "zinsim: standard output: %s\n", std::strerror(errno));
  return kOutputFailed;
}

int runScenario(zinsim::LineReader& input, const std::string& name, zinsim::Session& session) {
  const bool flushes = isInteractive(stdout);
  long number = 0;
  while (const auto line = input.next()) {
    ++number;
    const std::string place = (name.empty() ? "" : name + ": ") + "line " + std::to_string(number) + ": ";
    try {
      zinsim::runLine(*line, session, [&](const std::string& warning) { complain(place + warning); });
    } catch (const zinsim::UsageError& problem) {
      return complain(place + problem.what());
    }
    if ((flushes && std::fflush(stdout) != 0) || std::ferror(stdout)) break;
  }
  return finishOutput();
}

int run(const zinsim::Options& options) {
  zinsim::LineReader input(options.file);
  const auto show = [&](const zn::Effect& effect) {
    if (!options.only.empty() && !options.only.contains(effect.kind)) return;
    const std::string line = effect.line() + "\n";
    std::fwrite(line.data(), 1, line.size(), stdout);
  };
  const auto device = zn::Simulator::install({options.home});
  // As in a host, where nobody reads the log: the module must do the same without it.
  if (std::getenv("ZINSIM_WITHOUT_LOG")) ZNLogger::sharedInstance()->setObserver(nullptr);
  int status;
  {
    zinsim::Session session(device, show);
    status = runScenario(input, options.file, session);
  }
  if (const int signal = zinsim::LineReader::endedBySignal()) {
    device->shutDown();
    raise(signal);  // its handler is gone: whoever sent it sees that it was heard
  }
  return status;
}

}  // namespace

int main(int count, char** arguments) {
  signal(SIGPIPE, SIG_IGN);  // a reader that goes away is a failed write, and everything is put away
  zinsim::Options options;
  try {
    options = zinsim::parsedOptions(std::vector<std::string>(arguments + 1, arguments + count));
  } catch (const zinsim::UsageError& problem) {
    return complain(std::string(problem.what()) + "\nTry 'zinsim --help' for more information.");
  }
  if (options.help) {
    std::fputs(zinsim::helpText().c_str(), stdout);
    return finishOutput();
  }
  try {
    return run(options);
  } catch (const zinsim::UsageError& problem) {
    return complain(problem.what());
  } catch (const zn::Exception& problem) {
    return complain(problem.reason());
  }
}
