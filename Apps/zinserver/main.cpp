// zinserver: a campaign server for development.

#include <malloc.h>
#include <pthread.h>
#include <signal.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>

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
  // Blocked in all threads, so that the one that waits for them gets them.
  sigset_t signals;
  sigemptyset(&signals);
  for (const int ending : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, ending);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  // A thread for each connection, each with a heap of its own that keeps what its longest answer took, would add up.
  ::mallopt(M_ARENA_MAX, 1);

  zinserver::Server server(options.folder, options.host);
  const int port = server.bind(options.port);
  const bool isVersion6 = options.host.find(':') != std::string::npos;
  const std::string host = isVersion6 ? "[" + options.host + "]" : options.host;
  std::printf("listening on http://%s:%d\n", host.c_str(), port);
  std::fflush(stdout);

  std::thread serving([&] { server.serve(); });
  int signal = 0;
  sigwait(&signals, &signal);
  server.stop();
  serving.join();
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
