#pragma once

#include <httplib.h>

#include <memory>
#include <string>
#include <vector>

#include "Tests/Support/PrivateSession.h"
#include "ZNDevices/Freedesktop/WebPush/PushMessage_p.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace zn::test {

/// zindistributor, with one folder and one port for all its starts.
class DistributorProcess {
 public:
  explicit DistributorProcess(const PrivateSession& session) : session_(session) {}

  /// On the bus when it returns.
  void start(const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments = {ZN_ZINDISTRIBUTOR, "--folder", folder(), "--port", std::to_string(port_)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    process_ = std::make_unique<Process>(arguments, session_.environment());
    const std::string address(logged("listening")["address"].string());
    port_ = std::atoi(address.substr(address.rfind(':') + 1).c_str());
    logged("on the bus");
  }
  int end(int signal) { return process_->end(signal); }
  std::string folder() const { return session_.path("distributor"); }
  /// The next line of its log about such an event; nil where there is none.
  Value logged(const std::string& event) {
    return parseJson(process_->lineWith("\"event\": \"" + event + "\"")).value_or(nil);
  }

 private:
  const PrivateSession& session_;
  int port_ = 0;
  std::unique_ptr<Process> process_;
};

/// Posts a message, on a connection that is kept. Returns the status; 0 where there is no answer.
inline int push(const std::string& endpoint, const std::string& body, const httplib::Headers& headers = {}) {
  thread_local std::unique_ptr<httplib::Client> client;
  thread_local std::string address;
  const std::size_t path = std::min(endpoint.rfind('/'), endpoint.size());
  if (address != endpoint.substr(0, path)) {
    address = endpoint.substr(0, path);
    client = std::make_unique<httplib::Client>(address);
    client->set_keep_alive(true);
    client->set_tcp_nodelay(true);
  }
  const auto result = client->Post(endpoint.substr(path), headers, body, "application/octet-stream");
  return result ? result->status : 0;
}

/// What a server needs to push to an application.
struct Subscription {
  std::string endpoint;
  Data p256dh, auth;

  static Subscription of(const std::string& token) {
    const Value all = parseJson(token).value_or(nil);
    const auto key = [&](const char* name) {
      return dataFromBase64UrlText(all["keys"][name].string()).value_or(Data());
    };
    return {std::string(all["endpoint"].string()), key("p256dh"), key("auth")};
  }
  std::string sealed(const std::string& text) const {
    const auto key = P256Key::ofPublic(p256dh);
    if (!key) return "";
    const Data body = webpush::seal(*key, auth, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    return {body.begin(), body.end()};
  }
  bool operator==(const Subscription&) const = default;
};

}  // namespace zn::test
