#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "Tests/Support/TestDevice.h"
#include "ZNAnalytics/EventQueue_p.h"
#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNAnalytics/ZNSource.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZintarCore/RetryPolicy_p.h"
#include "ZintarCore/UserSession.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {

using zn::Value;
using zn::test::TestDevice;

/// Keeps requests, on the main thread, until a test answers them.
class RecordingTransport : public ZNNetworkTransport {
 public:
  void execute(const ZNNetworkRequest&, std::function<void(Value)>) override { std::abort(); }
  void executeForAnswer(const ZNNetworkRequest& request,
                        std::function<void(const zn::NetworkAnswer&)> completion) override {
    zn::dispatchAsync(zn::Queue::main, [this, body = request.requestBody(), completion = std::move(completion)] {
      bodies.push_back(body);
      pending.push_back(completion);
    });
  }
  std::vector<Value> bodies;
  std::vector<std::function<void(const zn::NetworkAnswer&)>> pending;
};

/// Keeps delayed tasks until a test runs them.
class QueuesWithoutTime : public zn::DeviceQueues {
 public:
  explicit QueuesWithoutTime(std::unique_ptr<zn::DeviceQueues> real) : real_(std::move(real)) {}
  void async(zn::Queue queue, zn::Task task) override { real_->async(queue, std::move(task)); }
  void after(zn::Queue, double seconds, zn::Task task) override { delayed.emplace_back(seconds, std::move(task)); }
  bool isMainThread() const override { return real_->isMainThread(); }
  std::vector<std::pair<double, zn::Task>> delayed;

 private:
  const std::unique_ptr<zn::DeviceQueues> real_;
};

class AnalyticsTest : public ::testing::Test {
 protected:
  AnalyticsTest() {
    auto queues = std::make_unique<QueuesWithoutTime>(std::move(device.device().queues));
    delayed = &queues->delayed;
    device.device().queues = std::move(queues);
    ZNConfigDataManager::sharedInstance()->apply(*zn::parseJson(R"({"server": {"endpoints": {"1": "/events"}}})"));
    ZNNetworkRequest::setTransport(transport);
  }
  void flush() {
    analytics.flushWithCompletionBlock([this](bool success) { sent.push_back(success); });
    device.device().waitUntilIdle();  // requests start on the background pool
  }
  void answer(const zn::NetworkAnswer& with) {
    transport->pending.back()(with);
    device.device().waitUntilIdle();
  }
  Value lastEvents() { return transport->bodies.back()["events"]; }

  TestDevice device;
  std::vector<std::pair<double, zn::Task>>* delayed = nullptr;
  const std::shared_ptr<RecordingTransport> transport = std::make_shared<RecordingTransport>();
  ZNAnalytics analytics;
  std::vector<bool> sent;
};

std::string names(const Value& events) {
  std::string text;
  for (const Value& event : events.elements()) text += std::string(event["name"].string()) + " ";
  return text;
}

TEST_F(AnalyticsTest, AFailedFlushKeepsWhatWasTrackedAndTriesAgainAfterAPause) {
  analytics.trackEvent("a", ZNProperties::initWithAttributes(Value::dictionary({{"k", zn::Date{5}}})));
  analytics.trackEvent("b", nullptr);
  flush();
  const Value first = lastEvents();
  EXPECT_EQ(names(first), "a b ");
  EXPECT_EQ(first.elements()[0]["id"].string().size(), 36u);
  EXPECT_NE(first.elements()[0]["id"], first.elements()[1]["id"]);
  answer({zn::nil, 401});  // no refusal of the events themselves
  flush();
  EXPECT_EQ(sent, (std::vector<bool>{false, false}));
  EXPECT_EQ(transport->bodies.size(), 1u) << "within the pause";
  device.clock().set(1700000016);
  flush();
  EXPECT_EQ(lastEvents(), first);
  EXPECT_EQ(transport->bodies.size(), 2u);
  answer({});
  ASSERT_EQ(delayed->size(), 2u);
  EXPECT_GE(delayed->back().first, 1800) << "what nobody asks for";
  delayed->front().second();
  device.device().waitUntilIdle();
  EXPECT_EQ(transport->bodies.size(), 2u) << "out of date";
  delayed->back().second();
  device.device().waitUntilIdle();
  EXPECT_EQ(transport->bodies.size(), 3u);
  EXPECT_EQ(lastEvents(), first);

  analytics.trackEvent("c", nullptr);  // while the flush is under way
  for (int count = 0; count < 1000; ++count) flush();
  analytics.flushWithCompletionBlock([](bool) { throw std::runtime_error("of the host"); });
  answer({Value::dictionary()});
  EXPECT_EQ(transport->bodies.size(), 4u) << "flushes that wait are one";
  EXPECT_EQ(names(lastEvents()), "c ");
  answer({zn::nil, 503, 3600});
  EXPECT_EQ(sent.size(), 1003u);
  ASSERT_EQ(delayed->size(), 3u);
  EXPECT_GE(delayed->back().first, 3600);
  device.clock().set(1700003600);
  flush();
  EXPECT_EQ(transport->bodies.size(), 4u) << "the server wants to be left alone";
}

TEST_F(AnalyticsTest, WhatTheServerRefusesByItselfIsSetAsideAndTheRestIsSent) {
  for (int number = 0; number < 1200; ++number) {
    analytics.trackEvent(number == 700 || number == 701 ? "bad" : "n" + std::to_string(number), nullptr);
  }
  analytics.trackEvent("long", ZNProperties::initWithAttributes(Value::dictionary({{"k", std::string(200'000, 'x')}})));
  analytics.trackEvent("long", ZNProperties::initWithAttributes(Value::dictionary({{"k", std::string(300'000, 'x')}})));
  flush();
  std::size_t taken = 0;
  std::size_t answered = 0;
  while (transport->pending.size() > answered) {
    answered = transport->pending.size();
    const Value events = lastEvents();
    EXPECT_LE(events.size(), 500u);
    EXPECT_TRUE(events.size() == 1 || zn::jsonText(transport->bodies.back()).size() <= 256'000u);
    const bool isBad = names(events).find("bad") != std::string::npos;
    const bool isLarge = events.size() > 300;
    if (!isBad && !isLarge) taken += events.size();
    answer(isLarge ? zn::NetworkAnswer{zn::nil, 413}
           : isBad ? zn::NetworkAnswer{zn::nil, 422}
                   : zn::NetworkAnswer{Value::dictionary()});
  }
  EXPECT_EQ(taken, 1200u);
  EXPECT_EQ(sent, std::vector<bool>{true});
  EXPECT_LT(answered, 60u);
  const auto refused = zn::readFile(device.home() + "/Library/ZNAnalytics/Events.jsonl.refused");
  ASSERT_TRUE(refused);
  EXPECT_EQ(std::count(refused->begin(), refused->end(), '\n'), 2);
  EXPECT_EQ(zn::readFile(device.home() + "/Library/ZNAnalytics/Events.jsonl")->size(), 0u);
}

TEST_F(AnalyticsTest, ADeviceRecordNamesItsInstallationWhateverTokenItHas) {
  const auto record = [this](const char* token) {
    ZNCoreUtils::saveDeviceToken(token);
    analytics.pushTokenUpdated();
    device.device().waitUntilIdle();
    const Value sentRecord = lastEvents().elements().back()["device"];
    answer({Value::dictionary(), 200});
    return sentRecord;
  };
  const Value first = record("c0de");
  EXPECT_EQ(first["installation"].string().size(), 36u);
  EXPECT_EQ(first["pushToken"], "c0de");
  zn::UserSession::logIn("somebody");
  zn::UserSession::logOut();
  const Value next = record(nullptr);
  EXPECT_EQ(next["installation"], first["installation"]);
  EXPECT_TRUE(next["pushToken"].isNil());
}

TEST(Source, ALinkIsOneByAParameterWhoseNameBeginsWithUtm) {
  EXPECT_TRUE(ZNSource::initSourceWithURL("https://shop.example/?a=1&utm_source=push")->isValidSource());
  EXPECT_FALSE(ZNSource::initSourceWithURL("https://shop.example/?my_utm_source=push&utm=1")->isValidSource());
}

TEST(RetryPauses, GrowSpreadAndHonourWhatTheServerAsksFor) {
  const zn::RetryPause pause{10, 1800};
  EXPECT_EQ(pause.after(1, 0, 0), 5);
  EXPECT_EQ(pause.after(1, 0, 1), 15);
  EXPECT_EQ(pause.after(3, 0, 0.5), 40);
  EXPECT_EQ(pause.after(4'000'000'000, 0, 0.5), 1800);
  EXPECT_EQ(pause.after(1, 3600, 0.5), 4500) << "spread over more than the pause: many wait for the same moment";
  EXPECT_EQ(pause.after(1, 1e12, 0), 86400);
}

TEST(RetryPolicy, LetsWhoAsksWaitBrieflyAndTheDeviceItselfForLong) {
  zn::RetryPolicy policy;
  EXPECT_TRUE(policy.mayAsk(1000));
  const auto first = policy.failed(1000, 0, 0.5);
  EXPECT_EQ(first.pause, 3600);
  EXPECT_FALSE(policy.mayAsk(1009));
  EXPECT_TRUE(policy.mayAsk(1010));
  EXPECT_TRUE(policy.mayAsk(999)) << "the clock was set back";
  EXPECT_TRUE(policy.isDue(first.ticket));
  const auto second = policy.failed(1010, 0, 0.5);
  EXPECT_FALSE(policy.isDue(first.ticket)) << "one retry waits, not one a failure";
  EXPECT_EQ(second.pause, 7200);
  EXPECT_FALSE(policy.mayAsk(1029));
  policy.succeeded();
  EXPECT_FALSE(policy.isDue(second.ticket));
  EXPECT_TRUE(policy.mayAsk(1011));
  EXPECT_EQ(policy.failed(1011, 0, 0.5).pause, 3600);
}

TEST(EventQueue, SurvivesHalfWrittenLinesAndStaysBounded) {
  TestDevice device;
  const std::string file = device.home() + "/Library/ZNAnalytics/Events.jsonl";
  const auto append = [](zn::EventQueue& to, const std::string& name, const Value& more = zn::nil) {
    to.append(Value::dictionary({{"name", name}, {"more", more}}));
  };
  const auto readAll = [](zn::EventQueue& from) { return from.read(1000, zn::EventQueue::maximumBytes); };
  {
    zn::EventQueue before;
    append(before, "first");
  }
  std::ofstream(file, std::ios::app) << "{\"name\": \"ha";
  zn::EventQueue queue;
  append(queue, "second");
  const auto both = readAll(queue).events;
  EXPECT_EQ(names(both), "first second ");
  EXPECT_EQ(both, readAll(queue).events) << "with the same ids, given when it is read";
  EXPECT_EQ(both.elements()[0]["id"].length(), 36u);
  EXPECT_NE(both.elements()[0]["id"], both.elements()[1]["id"]);

  for (int i = 0; i < 100; ++i) append(queue, "n" + std::to_string(i), std::string(1 << 16, 'x'));
  EXPECT_LE(zn::readFile(file)->size(), static_cast<std::size_t>(zn::EventQueue::maximumBytes));
  const auto batch = readAll(queue);
  EXPECT_EQ(batch.events.elements().back()["name"], "n99");
  append(queue, "late");
  queue.remove(batch);
  EXPECT_EQ(names(readAll(queue).events), "late ");
  append(queue, "later");
  queue.remove(queue.read(1, 1));
  zn::EventQueue restarted;
  EXPECT_EQ(names(readAll(restarted).events), "later ") << "what was sent is gone";
  queue.remove(readAll(queue));
  EXPECT_EQ(zn::readFile(file)->size(), 0u);
  append(queue, "again");
  EXPECT_EQ(names(readAll(queue).events), "again ");
}

}  // namespace
