#pragma once

#include <httplib.h>

#include <deque>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "Tests/Support/Awaited.h"
#include "ZNDevices/Freedesktop/WebPush/PushMessage_p.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace zn::test {

/// What a device gives those who may push to it, and what it opens their messages with.
struct PushDevice {
  webpush::Secrets secrets = webpush::Secrets::make();
  std::string endpoint;

  explicit PushDevice(std::string url) : endpoint(std::move(url)) {}
  std::string subscription() const {
    return jsonText(
        Value::dictionary({{"endpoint", endpoint},
                           {"keys", Value::dictionary({{"auth", base64UrlText(secrets.auth)},
                                                       {"p256dh", base64UrlText(secrets.key.publicKey())}})}}));
  }
  std::string token() const {
    const std::string text = subscription();
    return hexText({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  }
  std::string opened(const std::string& body) const {
    const auto text = webpush::open(secrets, {reinterpret_cast<const std::uint8_t*>(body.data()), body.size()}).text;
    return text ? std::string(text->begin(), text->end()) : "cannot be opened";
  }
};

/// A push server that answers as it is told and keeps what it got.
class PushServer {
 public:
  struct Answer {
    int status = 201;
    std::string retryAfter{};
  };

  /// With a certificate and its key it is one of https.
  explicit PushServer(const std::string& certificate = "", const std::string& key = "")
      : http_(certificate.empty() ? std::make_unique<httplib::Server>()
                                  : std::make_unique<httplib::SSLServer>(certificate.c_str(), key.c_str())),
        scheme_(certificate.empty() ? "http" : "https") {
    http_->Post("/.*", [this](const auto& request, auto& response) { take(request, response); });
    http_->set_tcp_nodelay(true);
    http_->set_keep_alive_timeout(1);
    http_->new_task_queue = [this] {
      running_.set_value();
      return new httplib::ThreadPool(4);
    };
    port_ = http_->bind_to_any_port("127.0.0.1");
    thread_ = std::thread([this] { http_->listen_after_bind(); });
  }
  ~PushServer() {
    running_.get_future().wait();
    http_->stop();
    thread_.join();
  }

  std::string address(const std::string& host = "127.0.0.1") const {
    return scheme_ + "://" + host + ":" + std::to_string(port_);
  }
  /// An endpoint that ends in that.
  std::string endpoint(const std::string& name) const { return address() + "/subscriptions/of-many-devices/" + name; }
  void answerWith(Answer answer) {
    Lock lock(mutex_);
    answer_ = std::move(answer);
  }
  std::vector<httplib::Request> requests() {
    Lock lock(mutex_);
    return requests_;
  }
  /// Once there are so many.
  std::vector<httplib::Request> awaited(std::size_t count) {
    waitUntil([&] { return requests().size() >= count; });
    return requests();
  }

 private:
  void take(const httplib::Request& request, httplib::Response& response) {
    Lock lock(mutex_);
    requests_.push_back(request);
    response.status = answer_.status;
    if (!answer_.retryAfter.empty()) response.set_header("Retry-After", answer_.retryAfter);
    if (answer_.status / 100 == 3) response.set_header("Location", address() + "/elsewhere");
  }

  std::unique_ptr<httplib::Server> http_;
  const std::string scheme_;
  int port_ = 0;
  std::promise<void> running_;
  Mutex mutex_;
  Answer answer_ ZN_GUARDED_BY(mutex_);
  std::vector<httplib::Request> requests_ ZN_GUARDED_BY(mutex_);
  std::thread thread_;
};

}  // namespace zn::test
