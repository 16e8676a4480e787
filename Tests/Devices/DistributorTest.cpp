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
    std::string endpoint = "none";
    connector_->calls.waitFor([&](const Values& calls) {
      const bool isTold = !calls.empty() && calls.back()["call"] == "NewEndpoint";
      if (isTold) endpoint = calls.back()["endpoint"].string();
      return isTold;
    });
    return endpoint;
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

TEST_F(DistributorTest, WhatAnApplicationDoesNotTakeComesAgain) {
  distributor_->start({"--patience", "1"});
  startConnector();
  const std::string endpoint = endpointFor(2, "token");
  for (const Manner manner : {Manner::fails, Manner::answersWithoutID, Manner::hangs}) {
    connector_->calls.take();
    connector_->manner = manner;
    EXPECT_EQ(zn::test::push(endpoint, "again"), 201);
    messages(1);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(distributor_->folder())) {
      struct stat status = {};
      const bool isThere = ::stat(entry.path().c_str(), &status) == 0;  // one that is replaced may be gone
      EXPECT_TRUE(!isThere || (status.st_mode & 0077) == 0) << entry.path();
    }
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

}  // namespace
