#include "Apps/Servers/HttpServer.h"

#include <malloc.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "Apps/Servers/Connections.h"
#include "Apps/Servers/GrowingPool.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"

namespace apps {

using zn::Value;

namespace {

sigset_t endingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int ending : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&signals, ending);
  return signals;
}

}  // namespace

Value errorOf(const std::string& reason) { return Value::dictionary({{"error", reason}}); }

void giveJson(httplib::Response& response, int status, const Value& value) {
  response.status = status;
  response.set_content(zn::jsonText(value) + "\n", "application/json");
}

HttpServer::HttpServer() {
  // The library's own setting would let a second server take the same port, and each would get some of the requests.
  http_.set_socket_options([this](int descriptor) {
    listener_ = descriptor;
    const int yes = 1;
    ::setsockopt(descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  http_.set_tcp_nodelay(true);
  http_.set_keep_alive_max_count(1000);
  http_.new_task_queue = [this] {
    running_.set_value();  // from here on stopping works
    return new GrowingPool;
  };
  http_.set_exception_handler([](const auto&, httplib::Response& response, const std::exception_ptr& problem) {
    try {
      std::rethrow_exception(problem);
    } catch (...) {
      giveJson(response, 500, errorOf(zn::currentExceptionText()));
    }
  });
  http_.set_error_handler([](const httplib::Request& request, httplib::Response& response) {
    if (response.body.empty() && !response.content_provider_) {
      giveJson(response, response.status, errorOf("cannot answer " + request.method + " " + request.path));
    }
  });
}

void HttpServer::bind(const std::string& host, int port) {
  errno = 0;
  const bool bound = port == 0 ? (port_ = http_.bind_to_any_port(host)) > 0 : http_.bind_to_port(host, port_ = port);
  if (!bound) {
    const std::string reason = errno ? std::strerror(errno) : "no such address";
    throw zn::Exception("cannot listen at " + host + ", port " + std::to_string(port) + ": " + reason);
  }
  // The library lets five wait, and others that come at the same time would try again after a second or three.
  ::listen(listener_, SOMAXCONN);
  const bool isVersion6 = host.find(':') != std::string::npos;
  address_ = "http://" + (isVersion6 ? "[" + host + "]" : host) + ":" + std::to_string(port_);
}

void HttpServer::stop() {
  running_.get_future().wait();
  http_.stop();
  endConnections(port_, 0);  // those that are merely kept open would hold up the end
}

void blockEndingSignals() {
  const sigset_t signals = endingSignals();
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

void serveUntilSignalled(const std::function<void()>& serve, const std::function<void()>& stop) {
  // A thread for each connection, each with a heap of its own that keeps what its longest answer took, would add up.
  ::mallopt(M_ARENA_MAX, 1);
  std::thread serving(serve);
  const sigset_t signals = endingSignals();
  int signal = 0;
  sigwait(&signals, &signal);
  stop();
  serving.join();
}

}  // namespace apps
