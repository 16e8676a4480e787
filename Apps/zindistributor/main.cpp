// zindistributor: a UnifiedPush distributor for development.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>

#include "Apps/CommandLine.h"
#include "Apps/Servers/HttpServer.h"
#include "Apps/zindistributor/Distributor.h"
#include "Apps/zindistributor/Options.h"
#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"

namespace {

using zindistributor::Distributor;

/// How long a message is kept, in seconds (RFC 8030, section 5.2): as its sender asks, up to four weeks. Nothing for a
/// header that is no number.
std::optional<double> secondsToLive(const std::string& header) {
  double seconds = 0;
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  if (header.empty() || !std::all_of(header.begin(), header.end(), isDigit)) return std::nullopt;
  const auto [end, problem] = std::from_chars(header.data(), header.data() + header.size(), seconds);
  return problem == std::errc() ? std::min(seconds, zindistributor::kLongestLife) : zindistributor::kLongestLife;
}

void answer(Distributor& distributor, const std::string& address, const httplib::Request& request,
            httplib::Response& response) {
  std::optional<double> seconds;
  if (request.has_header("TTL") && !(seconds = secondsToLive(request.get_header_value("TTL")))) {
    return apps::giveJson(response, 400, apps::errorOf("TTL must be a number of seconds"));
  }
  const auto receipt = distributor.post({request.path.substr(1), request.body, seconds,
                                         request.get_header_value("Authorization"), request.get_header_value("Topic")});
  if (receipt.status != 201) return apps::giveJson(response, receipt.status, apps::errorOf(receipt.error));
  response.status = receipt.status;
  response.set_header("Location", address + "/messages/" + receipt.id);
  response.set_header("TTL", std::to_string(std::lround(seconds.value_or(zindistributor::kLongestLife))));
}

void run(const zindistributor::Options& options) {
  apps::blockEndingSignals();
  apps::HttpServer server;
  server.bind("127.0.0.1", options.port);
  zn::Device device;  // for its log and its chance
  Distributor distributor(device, options, server.address());
  server.http().Post(
      ".*", [&](const auto& request, auto& response) { answer(distributor, server.address(), request, response); });
  std::printf("{\"address\": \"%s\", \"event\": \"listening\"}\n", server.address().c_str());
  std::fflush(stdout);
  distributor.start();
  apps::serveUntilSignalled([&] { server.serve(); }, [&] { server.stop(); });
  distributor.stop();
}

}  // namespace

int main(int count, char** arguments) {
  zindistributor::Options options;
  if (const auto status = zindistributor::readOptions(count, arguments, options)) return *status;
  try {
    run(options);
    return 0;
  } catch (const zn::Exception& problem) {
    return apps::wrongUsage(problem.reason());
  }
}
