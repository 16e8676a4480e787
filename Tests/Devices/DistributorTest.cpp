#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "Tests/Devices/DistributorProcess.h"
#include "Tests/Devices/ScriptedConnector.h"

namespace {

using zn::Value;
using zn::test::ScriptedConnector;
using Manner = ScriptedConnector::Manner;
using Values = std::vector<Value>;
using Texts = std::vector<std::string>;

class DistributorTest : public testing::Test {
 protected:
  static constexpr const char* kService = "com.example.Shop";

  void SetUp() override {
    const std::string lack = zn::test::lackOf({"dbus-daemon"});
    if (!lack.empty()) GTEST_SKIP() << lack;
    session_ = std::make_unique<zn::test::PrivateSession>();
    distributor_ = std::make_unique<zn::test::DistributorProcess>(*session_);
  }
  void startConnector() { connector_ = std::make_unique<ScriptedConnector>(session_->address(), kService); }
  /// Registers, and returns the endpoint.
  std::string endpointFor(int version, const std::string& token) {
    connector_->calls.take();
    EXPECT_NE(connector_->registerWith(version, token)["success"], "REGISTRATION_FAILED");
    return endpointOf(1);
  }
  /// The one that is told that often.
  std::string endpointOf(std::size_t count) {
    Texts endpoints;
    connector_->calls.waitFor([&](const Values& calls) {
      endpoints.clear();
      for (const Value& call : calls) {
        if (call["call"] == "NewEndpoint") endpoints.emplace_back(call["endpoint"].string());
      }
      return endpoints.size() >= count;
    });
    return endpoints.size() < count ? "none" : endpoints[count - 1];
  }
  /// The messages among the first calls.
  Texts messages(std::size_t count) {
    Texts texts;
    connector_->calls.waitFor([&](const Values& calls) {
      texts.clear();
      for (const Value& call : calls) {
        const auto bytes = call["message"].data();
        if (call["call"] == "Message") texts.emplace_back(bytes.begin(), bytes.end());
      }
      return texts.size() >= count;
    });
    return texts;
  }

  std::unique_ptr<zn::test::PrivateSession> session_;
  std::unique_ptr<zn::test::DistributorProcess> distributor_;
  std::unique_ptr<ScriptedConnector> connector_;
};

TEST_F(DistributorTest, MessagesReachTheApplicationInOrderByTheVersionItRegisteredWith) {
  distributor_->start();
  startConnector();
  for (const int version : {1, 2}) {
    const std::string token = "token-" + std::to_string(version);
    const std::string endpoint = endpointFor(version, token);
    ASSERT_TRUE(endpoint.starts_with("http://127.0.0.1:")) << endpoint;
    EXPECT_EQ(distributor_->logged("registered")["endpoint"].string().find(endpoint.substr(endpoint.size() - 8)),
              std::string::npos);
    EXPECT_EQ(endpointFor(version, token), endpoint) << "registering again changes nothing";

    const std::string binary = std::string("\0\xFF\n", 3) + std::string(4093, 'x');
    const Texts sent = {"{\"aps\": {}}", binary, "third"};
    for (const std::string& each : sent) EXPECT_EQ(zn::test::push(endpoint, each), 201);
    EXPECT_EQ(messages(3), sent);
    const Values calls = connector_->calls.all();
    EXPECT_EQ(calls[1]["version"], version);
    EXPECT_EQ(calls[1]["token"], token);
    EXPECT_GT(calls[1]["id"].string().size(), 0u);
    EXPECT_NE(calls[1]["id"], calls[2]["id"]);

    EXPECT_EQ(zn::test::push(endpoint, binary + "x"), 413);
    EXPECT_EQ(zn::test::push(endpoint, ""), 400);
    EXPECT_EQ(zn::test::push(endpoint, "x", {{"TTL", "soon"}}), 400);
    EXPECT_EQ(zn::test::push(endpoint + "0", "x"), 404);
    connector_->unregister(version, token);
    EXPECT_EQ(zn::test::push(endpoint, "x"), 404);
  }
  EXPECT_EQ(distributor_->end(SIGTERM), 0);
}

TEST_F(DistributorTest, NothingThatWasTakenIsLostWhileAnybodyIsAway) {
  distributor_->start();
  startConnector();
  const std::string endpoint = endpointFor(2, "token");
  connector_.reset();
  EXPECT_EQ(zn::test::push(endpoint, "first"), 201);
  distributor_->end(SIGKILL);
  distributor_->start();
  EXPECT_EQ(zn::test::push(endpoint, "second"), 201);
  session_->endBus();
  EXPECT_EQ(zn::test::push(endpoint, "third"), 201) << "without a bus, too";
  for (const auto& entry : std::filesystem::recursive_directory_iterator(distributor_->folder())) {
    struct stat status = {};
    ASSERT_EQ(::stat(entry.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0077, 0u) << entry.path();
  }
  session_->startBus();
  EXPECT_FALSE(distributor_->logged("on the bus").isNil());
  startConnector();
  EXPECT_EQ(zn::test::push(endpoint, "fourth"), 201);
  EXPECT_EQ(messages(4), (Texts{"first", "second", "third", "fourth"}));
  for (int count = 0; count < 4; ++count) distributor_->logged("delivered");
  EXPECT_TRUE(std::filesystem::is_empty(distributor_->folder() + "/messages"));
}

TEST_F(DistributorTest, TheBusStartsAnApplicationForItsMessage) {
  distributor_->start();
  startConnector();
  const std::string endpoint = endpointFor(2, "token");
  connector_.reset();
  // The program that the bus starts waits for the other end of this, and then as long as it is open.
  const std::string gate = session_->path("gate");
  ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
  session_->addService(kService, "/bin/cat " + gate);
  int writing = -1;
  EXPECT_EQ(zn::test::push(endpoint, "wake up"), 201);
  EXPECT_TRUE(zn::test::waitUntil([&] { return (writing = ::open(gate.c_str(), O_WRONLY | O_NONBLOCK)) >= 0; }));
  startConnector();
  EXPECT_EQ(messages(1), (Texts{"wake up"}));
  ::close(writing);
}

TEST_F(DistributorTest, WhatAnApplicationDoesNotTakeComesAgain) {
  distributor_->start({"--patience", "1"});
  startConnector();
  const std::string endpoint = endpointFor(2, "token");
  for (const Manner manner : {Manner::fails, Manner::answersWithoutID, Manner::hangs}) {
    connector_->calls.take();
    connector_->manner = manner;
    EXPECT_EQ(zn::test::push(endpoint, "again"), 201);
    messages(1);
    connector_->manner = Manner::answers;
    EXPECT_EQ(zn::test::push(endpoint, "next"), 201);
    EXPECT_EQ(messages(3), (Texts{"again", "again", "next"}));
    const Values calls = connector_->calls.all();
    EXPECT_EQ(calls[0]["id"], calls[1]["id"]);
  }
  connector_->manner = Manner::fails;
  EXPECT_EQ(zn::test::push(endpoint, "now or never", {{"TTL", "0"}}), 201);
  EXPECT_FALSE(distributor_->logged("expired").isNil());
}

TEST_F(DistributorTest, FaultsOfRegistrationsComeAsAskedFor) {
  distributor_->start({"--fault", R"({"refuse": "ACTION_REQUIRED", "times": 2})"});
  startConnector();
  const Value refused = Value::dictionary({{"success", "REGISTRATION_FAILED"}, {"reason", "ACTION_REQUIRED"}});
  EXPECT_EQ(connector_->registerWith(1, "token"), refused);
  EXPECT_EQ(connector_->registerWith(2, "token"), refused);
  EXPECT_NE(endpointFor(2, "token"), "");
  distributor_->end(SIGTERM);

  distributor_->start({"--only", "1"});
  EXPECT_FALSE(connector_->registerWith(2, "token")["error"].isNil());
  EXPECT_NE(endpointFor(1, "token"), "");
  distributor_->end(SIGTERM);

  distributor_->start({"--fault", R"({"silent": true})"});
  EXPECT_FALSE(connector_->registerWith(2, "token", 0.05)["error"].isNil());
  distributor_->end(SIGTERM);

  // The bus may end while an answer is on its way.
  distributor_->start({"--fault", R"({"delaySeconds": 0.3})"});
  EXPECT_FALSE(connector_->registerWith(2, "token", 0.05)["error"].isNil());
  session_->endBus();
  distributor_->logged("off the bus");
  session_->startBus();
  EXPECT_FALSE(distributor_->logged("on the bus").isNil());
  startConnector();
  EXPECT_EQ(connector_->registerWith(2, "token")["success"], "REGISTRATION_SUCCEEDED");
  EXPECT_EQ(distributor_->end(SIGTERM), 0);
}

TEST_F(DistributorTest, FaultsOfMessagesComeAsAskedFor) {
  distributor_->start({"--fault", R"({"newEndpointAfter": 2})"});
  startConnector();
  std::string endpoint = endpointFor(2, "token");
  for (const char* text : {"first", "second"}) EXPECT_EQ(zn::test::push(endpoint, text), 201);
  const std::string another = endpointOf(2);
  EXPECT_NE(another, endpoint);
  EXPECT_EQ(zn::test::push(endpoint, "third"), 404);
  EXPECT_EQ(zn::test::push(another, "third"), 201);
  for (int count = 0; count < 3; ++count) distributor_->logged("delivered");
  distributor_->end(SIGTERM);

  distributor_->start({"--fault", R"({"twice": true})", "--fault", R"({"unknownToken": true, "unregisterAfter": 1})"});
  endpoint = endpointFor(2, "token");
  EXPECT_EQ(zn::test::push(endpoint, "fourth"), 201);
  const Values calls = connector_->calls.wait(5);
  ASSERT_EQ(calls.size(), 5u);
  EXPECT_NE(calls[1]["token"], "token");
  EXPECT_EQ(calls[2]["token"], "token");
  EXPECT_EQ(calls[3], calls[2]);
  EXPECT_EQ(calls[4]["call"], "Unregistered");
  EXPECT_EQ(zn::test::push(endpoint, "fifth"), 404);
}

}  // namespace
