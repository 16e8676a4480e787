#include "Apps/zinserver/Server.h"

#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "Apps/zinserver/Connections.h"
#include "Apps/zinserver/GrowingPool.h"
#include "Apps/zinserver/Visitors.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Unicode.h"

namespace zinserver {

using zn::Value;

namespace {

constexpr const char* kJson = "application/json";

void log(const std::string& text) { std::fputs(("zinserver: " + zn::singleLine(text) + "\n").c_str(), stderr); }

Value errorOf(const std::string& reason) { return Value::dictionary({{"error", reason}}); }

void give(httplib::Response& response, int status, const Value& value) {
  response.status = status;
  response.set_content(zn::jsonText(value) + "\n", kJson);
}

double now() { return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count(); }

}  // namespace

Server::Server(std::string folder, std::string host) : folder_(std::move(folder)), host_(std::move(host)) {
  // The library's own setting would let a second server take the same port, and each would get some of the requests.
  http_.set_socket_options([this](int descriptor) {
    listener_ = descriptor;
    const int yes = 1;
    ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  http_.set_tcp_nodelay(true);
  http_.set_payload_max_length(8 << 20);  // more than a full queue of events
  http_.set_keep_alive_max_count(1000);
  http_.new_task_queue = [this] {
    running_.set_value();  // from here on stopping works
    return new GrowingPool;
  };
  http_.set_exception_handler([](const auto&, httplib::Response& response, const std::exception_ptr& problem) {
    try {
      std::rethrow_exception(problem);
    } catch (...) {
      give(response, 500, errorOf(zn::currentExceptionText()));
    }
  });
  http_.set_error_handler([](const httplib::Request& request, httplib::Response& response) {
    if (response.body.empty() && !response.content_provider_) {
      give(response, response.status, errorOf("cannot answer " + request.method + " " + request.path));
    }
  });
  addRoutes();
}

httplib::Server::Handler Server::forVisitors(Answerer answer) const {
  // Not before the routing: the body of a request that is refused there would be read as the next request.
  return [this, answer = std::move(answer)](const auto& request, auto& response) {
    const std::string why = refusal(host_, request.get_header_value("Host"), request.get_header_value("Origin"));
    if (why.empty()) return answer(request, response);
    log(why);
    give(response, 403, errorOf(why));
  };
}

void Server::addRoutes() {
  for (const Service& service : kServices) {
    http_.Post(service.path, forVisitors([this, &service](const auto& request, auto& response) {
                 serve(service, request, response);
                 log(request.method + " " + request.path + ": " + std::to_string(response.status));
               }));
  }
  http_.Get("/received", forVisitors([this](const auto&, auto& response) { give(response, 200, journal_.entries()); }));
  http_.Delete("/received", forVisitors([this](const auto&, auto& response) { give(response, 200, journal_.take()); }));
  addRoutesOfFaults();
}

void Server::addRoutesOfFaults() {
  const auto show = [this](const auto&, auto& response) { give(response, 200, faults_.descriptions()); };
  http_.Post("/faults", forVisitors([this, show](const auto& request, auto& response) {
               zn::JsonError error;
               const auto description = zn::parseJson(request.body, &error);
               if (!description) return give(response, 400, errorOf(error.text));
               try {
                 faults_.add(faultOf(*description));
               } catch (const zn::Exception& refusal) {
                 return give(response, 400, errorOf(refusal.reason()));
               }
               show(request, response);
             }));
  http_.Get("/faults", forVisitors(show));
  http_.Delete("/faults", forVisitors([this, show](const auto& request, auto& response) {
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
    return give(response, 500, errorOf(unusable));
  }
  if (!fault) return give(response, status, value);
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
  if (fault.close) return endConnections(request.local_port, request.remote_port);
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

int Server::bind(int port) {
  errno = 0;
  const bool bound = port == 0 ? (port_ = http_.bind_to_any_port(host_)) > 0 : http_.bind_to_port(host_, port_ = port);
  if (bound) {
    // The library lets five wait, and others that come at the same time would try again after a second or three.
    ::listen(listener_, SOMAXCONN);
    return port_;
  }
  const std::string reason = errno ? std::strerror(errno) : "no such address";
  throw zn::Exception("cannot listen at " + host_ + ", port " + std::to_string(port) + ": " + reason);
}

void Server::serve() { http_.listen_after_bind(); }

void Server::stop() {
  running_.get_future().wait();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
  }
  stopped_.notify_all();
  http_.stop();
  endConnections(port_, 0);  // those that are merely kept open would hold up the end
}

}  // namespace zinserver
