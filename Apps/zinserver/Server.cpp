#include "Apps/zinserver/Server.h"

#include <chrono>
#include <cmath>

#include "Apps/Servers/Connections.h"
#include "Apps/zinserver/Log.h"
#include "Apps/zinserver/Visitors.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zinserver {

using apps::errorOf;
using apps::giveJson;
using zn::Value;

namespace {

constexpr const char* kJson = "application/json";

double now() { return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count(); }

}  // namespace

Server::Server(const Options& options)
    : folder_(options.folder), host_(options.host), devices_(options.state), pusher_(devices_, folder_, options) {
  server_.http().set_payload_max_length(8 << 20);  // more than a full queue of events
  addRoutes();
}

httplib::Server::Handler Server::forVisitors(Answerer answer) const {
  // Not before the routing: the body of a request that is refused there would be read as the next request.
  return [this, answer = std::move(answer)](const auto& request, auto& response) {
    const std::string why = refusal(host_, request.get_header_value("Host"), request.get_header_value("Origin"));
    if (why.empty()) return answer(request, response);
    log(why);
    giveJson(response, 403, errorOf(why));
  };
}

void Server::addRoutes() {
  for (const Service& service : kServices) {
    server_.http().Post(service.path, forVisitors([this, &service](const auto& request, auto& response) {
                          serve(service, request, response);
                          log(request.method + " " + request.path + ": " + std::to_string(response.status));
                        }));
  }
  server_.http().Get("/received",
                     forVisitors([this](const auto&, auto& response) { giveJson(response, 200, journal_.entries()); }));
  server_.http().Delete("/received",
                        forVisitors([this](const auto&, auto& response) { giveJson(response, 200, journal_.take()); }));
  addRoutesOfFaults();
  addRoutesOfPushes();
}

void Server::addRoutesOfFaults() {
  const auto show = [this](const auto&, auto& response) { giveJson(response, 200, faults_.descriptions()); };
  server_.http().Post("/faults", forVisitors([this, show](const auto& request, auto& response) {
                        zn::JsonError error;
                        const auto description = zn::parseJson(request.body, &error);
                        if (!description) return giveJson(response, 400, errorOf(error.text));
                        try {
                          faults_.add(faultOf(*description));
                        } catch (const zn::Exception& refusal) {
                          return giveJson(response, 400, errorOf(refusal.reason()));
                        }
                        show(request, response);
                      }));
  server_.http().Get("/faults", forVisitors(show));
  server_.http().Delete("/faults", forVisitors([this, show](const auto& request, auto& response) {
                          faults_.clear();
                          show(request, response);
                        }));
}

void Server::serve(const Service& service, const httplib::Request& request, httplib::Response& response) {
  std::optional<Fault> fault;
  std::string unusable;
  try {
    fault = faultFor(static_cast<int>(service.number));
  } catch (const zn::Exception& problem) {
    unusable = problem.reason();
  }
  const auto [status, value] = answer(service, request, fault);
  if (!unusable.empty()) {
    log(unusable);
    return giveJson(response, 500, errorOf(unusable));
  }
  if (!fault) return giveJson(response, status, value);
  response.status = status;
  std::string text = zn::jsonText(value) + "\n";
  misbehave(*fault, request, response, text);
}

/// Keeps the request, and makes the answer that it gets unless a fault comes between.
std::pair<int, Value> Server::answer(const Service& service, const httplib::Request& request,
                                     const std::optional<Fault>& fault) {
  zn::JsonError error;
  const auto body = zn::parseJson(request.body, &error);
  journal_.add(now(), static_cast<int>(service.number), body ? *body : Value(request.body), request.body.size(),
               fault ? descriptionOf(*fault) : zn::nil);
  if (!body) return {400, errorOf(error.text)};
  if (!body->isDictionary()) return {400, errorOf("the body must be a JSON object")};
  if (service.number == ZNService::events && devices_.takeRecords((*body)["events"], now())) pusher_.wake();
  try {
    return {200, folder_.answer(service.number, *body)};
  } catch (const zn::Exception& problem) {
    log(problem.reason());
    return {500, errorOf(problem.reason())};
  }
}

std::optional<Fault> Server::faultFor(int service) {
  if (auto posted = faults_.take(service)) return posted;
  for (const Fault& fault : folder_.faults()) {
    if (fault.service == service) return fault;
  }
  return std::nullopt;
}

void Server::misbehave(const Fault& fault, const httplib::Request& request, httplib::Response& response,
                       std::string& text) {
  log("a fault, as asked for: " + zn::jsonText(descriptionOf(fault)));
  pause(fault.delaySeconds);
  if (fault.close) return apps::endConnections(request.local_port, request.remote_port);
  if (fault.status) response.status = fault.status;
  if (fault.retryAfter > 0) response.set_header("Retry-After", std::to_string(std::lround(fault.retryAfter)));
  if (fault.status && !fault.garbage) text = zn::jsonText(errorOf("this fault was asked for")) + "\n";
  if (fault.garbage) text = "<!DOCTYPE html><html><body><h1>Bad Gateway</h1></body></html>\n";
  const char* const type = fault.garbage ? "text/html" : kJson;
  if (!fault.truncate) return response.set_content(text, type);
  response.set_content_provider(text.size(), type, [text](std::size_t, std::size_t, httplib::DataSink& sink) {
    sink.write(text.data(), text.size() / 2);
    return false;  // the library then closes the connection, short of the length it announced
  });
}

void Server::pause(double seconds) {
  std::unique_lock<std::mutex> lock(mutex_);
  stopped_.wait_for(lock, std::chrono::duration<double>(seconds), [this] { return stopping_; });
}

void Server::stop() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  stopped_.notify_all();
  pusher_.stop();  // whose outcomes requests wait for
  server_.stop();
}

}  // namespace zinserver
