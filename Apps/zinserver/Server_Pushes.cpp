#include "Apps/zinserver/Server.h"
#include "Apps/zinserver/FolderFindings.h"
#include "Apps/zinserver/Log.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zinserver {

using apps::errorOf;
using apps::giveJson;
using zn::Value;

namespace {

Value resultsOf(const std::vector<Pusher::Outcome>& outcomes) {
  Value results = Value::array();
  for (const auto& [device, result] : outcomes) {
    results.append(
        Value::dictionary({{"device", device}, {"outcome", push::nameOf(result.outcome)}, {"text", result.text}}));
  }
  return Value::dictionary({{"results", results}});
}

}  // namespace

void Server::addRoutesOfPushes() {
  server_.http().Get("/push", forVisitors([this](const auto&, auto& response) {
                       giveJson(response, 200, Value::dictionary({{"key", pusher_.publicKey()}}));
                     }));
  server_.http().Post("/push", forVisitors([this](const auto& request, auto& response) {
                        push(request, response);
                        log(request.method + " " + request.path + ": " + std::to_string(response.status));
                      }));
  server_.http().Get("/devices",
                     forVisitors([this](const auto&, auto& response) { giveJson(response, 200, devices_.shown()); }));
  server_.http().Delete("/devices/([^/]+)", forVisitors([this](const auto& request, auto& response) {
                          const bool wasThere = devices_.remove(request.matches[1]);
                          if (!wasThere) return giveJson(response, 404, errorOf("there is no such device"));
                          giveJson(response, 200, devices_.shown());
                        }));
}

void Server::push(const httplib::Request& request, httplib::Response& response) {
  zn::JsonError error;
  const auto wanted = zn::parseJson(request.body, &error);
  if (!wanted) return giveJson(response, 400, errorOf(error.text));
  try {
    const auto message = push::messageOf(*wanted, {"device", "all"});
    tellFindingsOfPayload("POST /push", (*wanted)["payload"]);
    const std::string device((*wanted)["device"].string());
    const bool all = (*wanted)["all"].boolean();
    if (device.empty() != all) throw zn::Exception("either \"device\", an id, or \"all\": true is needed");
    if (!all && !devices_.subscriptionOf(device)) return giveJson(response, 404, errorOf("there is no such device"));
    const auto devices = all ? devices_.subscribed() : std::vector<std::string>{device};
    giveJson(response, 200, resultsOf(pusher_.push(devices, message)));
  } catch (const zn::Exception& problem) {
    giveJson(response, 400, errorOf(problem.reason()));
  }
}

}  // namespace zinserver
