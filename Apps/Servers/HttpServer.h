#pragma once

#include <httplib.h>

#include <functional>
#include <future>
#include <string>

#include "ZNPlatform/Foundation/Value.h"

namespace apps {

/// {"error": REASON}
zn::Value errorOf(const std::string& reason);
void giveJson(httplib::Response& response, int status, const zn::Value& value);

/// The HTTP library's server as our programs run it: nobody shares its port, connections do not hold up one another,
/// what nothing answers gets an error in JSON, and its end breaks off what is under way.
class HttpServer {
 public:
  HttpServer();

  /// For routes and limits, before `serve`.
  httplib::Server& http() { return http_; }

  /// Listens from now on; port 0 picks one that is free. Throws zn::Exception.
  void bind(const std::string& host, int port);
  int port() const { return port_; }
  std::string address() const { return address_; }  ///< such as "http://127.0.0.1:8088"
  /// Serves until `stop`. Once.
  void serve() { http_.listen_after_bind(); }
  /// Thread: any, once, also before `serve` got going.
  void stop();

 private:
  httplib::Server http_;
  std::string address_;
  int port_ = 0;
  int listener_ = -1;  // the library's
  std::promise<void> running_;
};

/// To be called before the program makes threads, all of which leave these signals to the one that waits for them.
void blockEndingSignals();
/// Runs `serve` on a thread of its own until such a signal comes; `stop` makes it return.
void serveUntilSignalled(const std::function<void()>& serve, const std::function<void()>& stop);

}  // namespace apps
