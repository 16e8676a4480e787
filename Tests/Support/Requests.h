#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <atomic>
#include <chrono>
#include <future>
#include <list>
#include <memory>
#include <string>

#include "Tests/Support/PlainDevice.h"
#include "Tests/Support/TestDevice.h"
#include "ZintarCore/HttpTransport.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace zn::test {

/// What became of one request.
class Outcome {
 public:
  std::function<void(Value)> completion() {
    return [this](const Value& response) {
      if (count_++ == 0) promise_.set_value(response);
    };
  }
  /// The first answer; a text when none comes.
  Value response() {
    constexpr std::chrono::seconds kPatienceWithServer(60);
    if (future_.wait_for(kPatienceWithServer) != std::future_status::ready) return "no answer";
    return future_.get();
  }
  int count() const { return count_.load(); }

 private:
  std::atomic<int> count_{0};
  std::promise<Value> promise_;
  std::shared_future<Value> future_{promise_.get_future()};
};

/// Executes requests on a test device, and at the end of the test makes sure that each was answered exactly once.
class Requests : public ::testing::Test {
 protected:
  Requests() {
    ::setenv("no_proxy", "*", 1);
    device.device().systemLog = std::make_unique<RecordingLog>();
  }
  ~Requests() override {
    ZNNetworkRequest::setTransport(nullptr);
    HttpTransport::sharedInstance()->shutDown();
    device.device().shutDown();
    for (const Outcome& each : outcomes_) EXPECT_EQ(each.count(), 1);
  }

  /// Names the server, with a path for every service.
  static void configure(const std::string& address, const Value& more = zn::nil) {
    Value endpoints = Value::dictionary();
    for (const auto* const number : {"1", "7", "8", "9", "10"}) {
      endpoints.setObjectNilHandled(std::string("/v1/") + number, number);
    }
    Value server = Value::dictionary({{"address", address}, {"endpoints", endpoints}});
    for (const auto& [key, value] : more.entries()) server.setObjectNilHandled(value, key.string());
    ZNConfigDataManager::sharedInstance()->apply(Value::dictionary({{"server", server}}));
  }
  static void configure(int port) { configure("http://127.0.0.1:" + std::to_string(port)); }

  static std::shared_ptr<ZNNetworkRequest> request(ZNService service = ZNService::inbox,
                                                   const Value& body = Value::dictionary()) {
    return ZNNetworkRequest::initWithService(service, zn::nil, zn::nil, body, zn::nil);
  }
  Outcome& start(ZNNetworkTransport& transport, const ZNNetworkRequest& request) {
    Outcome& outcome = outcomes_.emplace_back();
    transport.execute(request, outcome.completion());
    return outcome;
  }
  Outcome& start(ZNNetworkTransport& transport) { return start(transport, *request()); }

  RecordingLog& systemLog() { return static_cast<RecordingLog&>(*device.device().systemLog); }
  /// Why the last request failed, as the log has it.
  std::string lastFailure() const {
    const auto lines = device.log();
    return lines.empty() ? "" : lines.back();
  }

  TestDevice device;

 private:
  std::list<Outcome> outcomes_;
};

}  // namespace zn::test
