// Who may push to an application, and which of its messages it gets.

#include <gtest/gtest.h>

#include <ctime>

#include "Apps/Push/Vapid.h"
#include "Tests/Devices/DistributorProcess.h"
#include "Tests/Devices/ScriptedParty.h"

namespace {

using zn::BusCall;
using zn::BusMessage;
using zn::Value;

/// An application that registers and takes messages, or holds them back.
class Application final : private zn::test::ScriptedParty {
 public:
  Application(const std::string& address, const std::string& vapid)
      : ScriptedParty(address, "com.example.App"), vapid_(vapid) {
    appear();
  }
  ~Application() override { bus_.stop(); }

  /// What the distributor answers.
  Value registered() {
    std::promise<Value> answered;
    bus_.perform([&] {
      BusMessage call = bus_.makeCall("org.unifiedpush.Distributor.zindistributor", "/org/unifiedpush/Distributor",
                                      "org.unifiedpush.Distributor2", "Register");
      Value arguments = Value::dictionary({{"service", name_}, {"token", "token"}});
      if (!vapid_.empty()) arguments.setObjectNilHandled(vapid_, "vapid");
      bus_.call(call.appendDictionary(arguments), 60,
                [&](BusMessage& answer, const std::string&) { answered.set_value(answer.readValue()); });
    });
    return answered.get_future().get();
  }
  std::string endpoint() { return endpoints_.wait(1).at(0); }
  /// Holds back the answers to messages from now on, or lets go of those: the distributor learns that they failed.
  void holdBack(bool yes) {
    std::promise<void> done;
    bus_.perform([&] {
      isHolding_ = yes;
      held_.clear();
      done.set_value();
    });
    done.get_future().wait();
  }
  zn::test::Awaited<std::string> messages;

 private:
  void exportObjects() override {
    bus_.exportMethods("/org/unifiedpush/Connector", "org.unifiedpush.Connector2",
                       {{"NewEndpoint", "a{sv}", "a{sv}",
                         [this](BusCall call) {
                           endpoints_.add(std::string(call.arguments().readValue()["endpoint"].string()));
                           call.answer([](BusMessage& answer) { answer.appendDictionary(Value::dictionary()); });
                         }},
                        {"Message", "a{sv}", "a{sv}", [this](BusCall call) { take(std::move(call)); }}});
  }
  void take(BusCall call) {
    const Value arguments = call.arguments().readValue();
    const auto body = arguments["message"].data();
    messages.add(std::string(body.begin(), body.end()));
    if (isHolding_) return held_.push_back(std::move(call));
    call.answer([&](BusMessage& answer) { answer.appendDictionary(Value::dictionary({{"id", arguments["id"]}})); });
  }

  const std::string vapid_;
  zn::test::Awaited<std::string> endpoints_;
  bool isHolding_ = false;  // these two are the bus's thread's
  std::vector<BusCall> held_;
};

class DistributorTest : public testing::Test {
 protected:
  void SetUp() override {
    const std::string lack = zn::test::lackOf({"dbus-daemon"});
    if (!lack.empty()) GTEST_SKIP() << lack;
    session_ = std::make_unique<zn::test::PrivateSession>();
    distributor_ = std::make_unique<zn::test::DistributorProcess>(*session_);
    distributor_->start();
  }
  std::unique_ptr<Application> application(const std::string& vapid = "") {
    return std::make_unique<Application>(session_->address(), vapid);
  }

  std::unique_ptr<zn::test::PrivateSession> session_;
  std::unique_ptr<zn::test::DistributorProcess> distributor_;
};

TEST_F(DistributorTest, OnlyTheSenderThatTheApplicationNamesMayPush) {
  const auto key = zn::P256Key::generate();
  auto app = application(zn::base64UrlText(key.publicKey()));
  EXPECT_EQ(app->registered()["success"], "REGISTRATION_SUCCEEDED");
  const std::string endpoint = app->endpoint();
  const std::string origin = endpoint.substr(0, endpoint.rfind('/'));
  const auto posted = [&](const zn::P256Key& sender, const std::string& audience, bool hasLife = true) {
    httplib::Headers headers = {
        {"Authorization", push::vapidAuthorization(sender, audience, "", std::time(nullptr) + 3600)}};
    if (hasLife) headers.emplace("TTL", "60");
    return zn::test::push(endpoint, "by its sender", headers);
  };
  EXPECT_EQ(zn::test::push(endpoint, "by anybody", {{"TTL", "60"}}), 401);
  EXPECT_EQ(posted(zn::P256Key::generate(), origin), 403);
  EXPECT_EQ(posted(key, "https://push.example.com"), 403);
  EXPECT_EQ(posted(key, origin, false), 400);
  EXPECT_EQ(posted(key, origin), 201);
  EXPECT_EQ(app->messages.wait(1), std::vector<std::string>{"by its sender"});
  EXPECT_FALSE(distributor_->logged("delivered").isNil());  // else it comes again

  distributor_->end(SIGKILL);
  distributor_->start();
  EXPECT_EQ(zn::test::push(endpoint, "by anybody", {{"TTL", "60"}}), 401) << "it is kept";
  EXPECT_EQ(posted(key, origin), 201);
  EXPECT_EQ(app->messages.wait(2).size(), 2u);

  app.reset();
  app = application("no key");
  EXPECT_EQ(app->registered()["success"], "REGISTRATION_FAILED");
  app.reset();
  app = application();
  EXPECT_EQ(app->registered()["success"], "REGISTRATION_SUCCEEDED");
  EXPECT_EQ(zn::test::push(app->endpoint(), "by anybody"), 201) << "it names nobody any more";
  EXPECT_EQ(app->messages.wait(1), std::vector<std::string>{"by anybody"});
}

TEST_F(DistributorTest, AMessageTakesThePlaceOfAnUndeliveredOneOfItsTopic) {
  auto app = application();
  app->registered();
  const std::string endpoint = app->endpoint();
  const auto post = [&](const char* text, const char* topic) {
    EXPECT_EQ(zn::test::push(endpoint, text, {{"Topic", topic}}), 201);
  };
  app->holdBack(true);
  post("1", "score");
  app->messages.wait(1);  // on its way
  for (const char* text : {"2", "3"}) post(text, "score");
  post("other", "news");
  EXPECT_EQ(zn::test::push(endpoint, "none"), 201);
  app->holdBack(false);  // it was not delivered
  EXPECT_EQ(app->messages.wait(4), (std::vector<std::string>{"1", "3", "other", "none"}));
  EXPECT_EQ(zn::test::push(endpoint, "x", {{"Topic", "two words"}}), 400);
  for (int left = 3; left > 0; --left) EXPECT_FALSE(distributor_->logged("delivered").isNil());

  app.reset();
  for (const char* text : {"4", "5"}) post(text, "score");
  distributor_->end(SIGKILL);
  distributor_->start();
  post("6", "score");
  post("end", "end");
  app = application();
  EXPECT_EQ(app->messages.wait(2), (std::vector<std::string>{"6", "end"}));
}

}  // namespace
