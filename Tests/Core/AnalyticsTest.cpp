#include <gtest/gtest.h>

#include <fstream>

#include "Platform/Foundation/Dispatch.h"
#include "Platform/Foundation/File.h"
#include "Tests/Support/TestDevice.h"
#include "ZNAnalytics/EventQueue.h"
#include "ZNAnalytics/ZNAnalytics.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {

using zn::Value;
using zn::test::TestDevice;

/// Keeps requests, on the main thread, until a test answers them.
class RecordingTransport : public ZNNetworkTransport {
 public:
  void execute(const ZNNetworkRequest& request, std::function<void(Value)> completion) override {
    zn::dispatchAsync(zn::Queue::main, [this, body = request.requestBody(), completion = std::move(completion)] {
      bodies.push_back(body);
      pending.push_back(completion);
    });
  }
  std::vector<Value> bodies;
  std::vector<std::function<void(Value)>> pending;
};

void useEventService() {
  ZNConfigDataManager::sharedInstance()->apply(
      Value::dictionary({{"server", Value::dictionary({{"endpoints", Value::dictionary({{"1", "/events"}})}})}}));
}

std::string names(const Value& events) {
  std::string text;
  for (const Value& event : events.elements()) text += std::string(event["name"].string()) + " ";
  return text;
}

TEST(Analytics, AFlushSendsWhatWasTrackedAndAFailedOneKeepsIt) {
  TestDevice device;
  useEventService();
  const auto transport = std::make_shared<RecordingTransport>();
  ZNNetworkRequest::setTransport(transport);
  ZNAnalytics analytics;
  analytics.trackEvent("a", ZNProperties::initWithAttributes(Value::dictionary({{"k", zn::Date{5}}})));
  analytics.trackEvent("b", nullptr);
  std::vector<bool> sent;
  const auto flush = [&] { analytics.flushWithCompletionBlock([&](bool success) { sent.push_back(success); }); };
  const auto waitForRequests = [&](std::size_t count) {
    device.device().waitUntilIdle();  // the requests start on the background pool
    ASSERT_EQ(transport->bodies.size(), count);
  };
  flush();
  waitForRequests(1);
  EXPECT_EQ(names(transport->bodies[0]["events"]), "a b ");
  transport->pending[0](zn::nil);
  flush();
  waitForRequests(2);
  analytics.trackEvent("c", nullptr);  // while the flush is under way
  EXPECT_EQ(names(transport->bodies[1]["events"]), "a b ");
  transport->pending[1](Value::dictionary());
  flush();
  waitForRequests(3);
  EXPECT_EQ(names(transport->bodies[2]["events"]), "c ");
  EXPECT_EQ(sent, (std::vector<bool>{false, true}));
  transport->pending[2](zn::nil);
  analytics.flushWithCompletionBlock([](bool) { throw std::runtime_error("of the host"); });
  waitForRequests(4);
  transport->pending[3](zn::nil);
  flush();
  waitForRequests(5);
}

TEST(EventQueue, SurvivesHalfWrittenLinesAndStaysBounded) {
  TestDevice device;
  {
    zn::EventQueue queue;
    queue.append(Value::dictionary({{"name", "first"}}));
  }
  const std::string file = device.home() + "/Library/ZNAnalytics/Events.jsonl";
  std::ofstream(file, std::ios::app) << "{\"name\": \"ha";
  zn::EventQueue queue;
  queue.append(Value::dictionary({{"name", "second"}}));
  EXPECT_EQ(names(queue.read().events), "first second ");

  const std::string filler(1 << 16, 'x');
  for (int i = 0; i < 100; ++i) {
    queue.append(Value::dictionary({{"name", "n" + std::to_string(i)}, {"filler", filler}}));
  }
  EXPECT_LE(zn::readFile(file)->size(), static_cast<std::size_t>(zn::EventQueue::maximumBytes));
  const auto batch = queue.read();
  EXPECT_EQ(batch.events.elements().back()["name"], "n99");
  queue.append(Value::dictionary({{"name", "late"}}));
  queue.remove(batch);
  EXPECT_EQ(names(queue.read().events), "late ");
  queue.remove(queue.read());
  EXPECT_EQ(zn::readFile(file)->size(), 0u);
  queue.append(Value::dictionary({{"name", "again"}}));
  EXPECT_EQ(names(queue.read().events), "again ");
}

}  // namespace
