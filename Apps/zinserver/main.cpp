// zinserver: a campaign server for development.

#include <cstdio>
#include <filesystem>
#include <string>

#include "Apps/CommandLine.h"
#include "Apps/zinserver/Options.h"
#include "Apps/zinserver/Server.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace {

void run(const zinserver::Options& options) {
  std::error_code failure;
  if (!std::filesystem::is_directory(options.folder, failure)) {
    throw zn::Exception(options.folder + ": " + (failure ? failure.message() : "there is no such folder"));
  }
  apps::blockEndingSignals();
  zinserver::Server server(options);
  server.bind(options.port);
  std::printf("listening on %s\n", server.address().c_str());
  std::fflush(stdout);
  apps::serveUntilSignalled([&] { server.serve(); }, [&] { server.stop(); });
}

}  // namespace

int main(int count, char** arguments) {
  zinserver::Options options;
  if (const auto status = zinserver::readOptions(count, arguments, options)) return *status;
  try {
    run(options);
    return 0;
  } catch (const zn::Exception& problem) {
    return apps::wrongUsage(problem.reason());
  }
}
