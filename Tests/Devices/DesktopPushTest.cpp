#include <chrono>
#include <set>

#include "Tests/Devices/DesktopTest.h"
#include "Tests/Support/InTheWay.h"

namespace {

using zn::Value;

class DesktopPushTest : public zn::test::DesktopTest {
 protected:
  void SetUp() override {
    DesktopTest::SetUp();
    if (IsSkipped()) return;
    distributor_ = std::make_unique<zn::test::DistributorProcess>(*session_);
    startServer();
  }
  /// The endpoint in the next token.
  std::string endpoint() {
    const Value token = host_->told("token")["token"];
    return std::string(zn::parseJson(token.string()).value_or(zn::nil)["endpoint"].string());
  }
  std::string registered() {
    host_->run(R"({"do": "register"})");
    return endpoint();
  }
  static std::string payload(const std::string& campaign) {
    return R"({"aps": {"alert": {"title": ")" + campaign + R"("}}, "zintar": {"cid": ")" + campaign + "\"}}";
  }
  static int push(const std::string& endpoint, const std::string& campaign) {
    return zn::test::push(endpoint, payload(campaign));
  }
  /// The campaign of the next push that the application gets.
  std::string pushed() {
    return std::string(host_->told("push")["payload"].validObjectForKeyPath("zintar.cid").string());
  }
  Texts kept() {
    Texts campaigns;
    const Value all = host_->ask("kept")["campaigns"];
    for (const Value& each : all.elements()) campaigns.emplace_back(each.string());
    return campaigns;
  }

  std::unique_ptr<zn::test::DistributorProcess> distributor_;
};

TEST_F(DesktopPushTest, AMessageIsKeptShownAndDeliveredByEitherVersion) {
  for (const char* version : {"1", "2"}) {
    distributor_->start({"--only", version});
    startHost();
    const std::string there = registered();
    EXPECT_EQ(push(there, version), 201);
    EXPECT_EQ(pushed(), version);
    EXPECT_EQ(nextShown()["title"], version);
    EXPECT_EQ(zn::test::push(there, "no JSON"), 201);
    EXPECT_TRUE(host_->tellsOf("no JSON object"));
    EXPECT_EQ(zn::test::push(there, R"({"zintar": {"cid": "silent", "silentPush": 1}})"), 201);
    pushed();
    EXPECT_EQ(kept().back(), version);
    EXPECT_EQ(zn::test::push(there, std::string(4097, 'x')), 413);
    EXPECT_EQ(zn::test::push(there, ""), 400);
    EXPECT_EQ(zn::test::push(there + "0", "x"), 404);
    EXPECT_EQ(host_->end(), 0);
    distributor_->end(SIGTERM);
  }
  EXPECT_EQ(server_->shown.count(), 2u);
}

TEST_F(DesktopPushTest, NothingIsLostOrDoubledWhileAnybodyIsAway) {
  distributor_->start();
  startHost();
  const std::string there = registered();
  host_->kill();
  EXPECT_EQ(push(there, "a"), 201);
  distributor_->end(SIGKILL);
  distributor_->start();
  host_->start();
  EXPECT_EQ(pushed(), "a");
  session_->endBus();
  EXPECT_EQ(push(there, "b"), 201);
  session_->startBus();
  EXPECT_EQ(pushed(), "b");
  distributor_->end(SIGKILL);
  distributor_->start();
  EXPECT_EQ(registered(), there);
  EXPECT_EQ(push(there, "c"), 201);
  EXPECT_EQ(pushed(), "c");
  EXPECT_EQ(kept(), (Texts{"a", "b", "c"}));
}

TEST_F(DesktopPushTest, WhatCannotBeKeptIsShownOnceAndComesAgainUntilItIs) {
  distributor_->start();
  startHost();
  const std::string there = registered();
  EXPECT_EQ(push(there, "a"), 201);
  EXPECT_FALSE(distributor_->logged("delivered").isNil());
  {
    const zn::test::InTheWay folder(host_->home() + "/Preferences/group.test.plist");
    EXPECT_EQ(push(there, "b"), 201);
    EXPECT_TRUE(host_->tellsOf("cannot be kept for the inbox now"));
    EXPECT_FALSE(distributor_->logged("failed").isNil());
  }
  EXPECT_FALSE(distributor_->logged("delivered").isNil());
  EXPECT_EQ(kept(), (Texts{"a", "b"}));
  EXPECT_EQ(server_->shown.count(), 2u);
}

TEST_F(DesktopPushTest, ADistributorThatMisbehavesWithMessagesDoublesNone) {
  distributor_->start({"--fault", R"({"twice": true, "unknownToken": true, "newEndpointAfter": 2})"});
  startHost();
  const std::string there = registered();
  for (const char* campaign : {"a", "b"}) EXPECT_EQ(push(there, campaign), 201);
  const std::string another = endpoint();
  EXPECT_NE(another, there);
  EXPECT_EQ(push(another, "c"), 201);
  EXPECT_EQ(nextShown()["title"], "a");
  EXPECT_EQ(nextShown()["title"], "b");
  EXPECT_EQ(nextShown()["title"], "c");
  EXPECT_EQ(pushed(), "c");
  EXPECT_EQ(kept(), (Texts{"a", "b", "c"}));
  EXPECT_EQ(server_->shown.count(), 3u);
}

TEST_F(DesktopPushTest, ARegistrationThatFailsIsTriedAgain) {
  distributor_->start({"--fault", R"({"silent": true})"});
  startHost();
  host_->run(R"({"do": "register"})");
  EXPECT_TRUE(host_->ask("shown")["ids"].isArray()) << "nothing waits for it";
  distributor_->end(SIGTERM);
  // The next one refuses once, answers late, and forgets the application after its first message.
  distributor_->start({"--fault", R"({"refuse": "NETWORK", "times": 1, "delaySeconds": 0.2, "unregisterAfter": 1})"});
  EXPECT_TRUE(host_->tellsOf("NETWORK"));
  const std::string first = endpoint();
  EXPECT_EQ(push(first, "a"), 201);
  EXPECT_EQ(pushed(), "a");
  const std::string second = endpoint();
  EXPECT_NE(second, first);
  EXPECT_EQ(push(second, "b"), 201);
  EXPECT_EQ(pushed(), "b");
}

TEST_F(DesktopPushTest, TheApplicationsNameIsTakenOnceAnEarlierProcessLeavesIt) {
  struct Earlier final : zn::test::ScriptedParty {
    explicit Earlier(const std::string& address) : ScriptedParty(address, "com.example.Shop") { appear(); }
    ~Earlier() { bus_.stop(); }
    void exportObjects() override {}
  };
  distributor_->start();
  auto earlier = std::make_unique<Earlier>(session_->address());
  startHost();
  host_->run(R"({"do": "register"})");
  EXPECT_TRUE(host_->tellsOf("another process has the name com.example.Shop"));
  earlier.reset();
  EXPECT_EQ(push(endpoint(), "a"), 201);
  EXPECT_EQ(pushed(), "a");
}

TEST_F(DesktopPushTest, ABurstArrivesWholeAlthoughTheDistributorIsKilledInIt) {
  constexpr int kCount = 5000;
  distributor_->start();
  startHost();
  const std::string there = registered();
  const auto start = std::chrono::steady_clock::now();
  std::set<std::string> sent;
  for (int number = 0; number < kCount; ++number) {
    if (number == kCount / 2) {
      distributor_->end(SIGKILL);
      distributor_->start();
    }
    const std::string campaign = std::to_string(number);
    if (push(there, campaign) == 201) sent.insert(campaign);
  }
  EXPECT_GE(sent.size(), static_cast<std::size_t>(kCount - 1)) << "one is on its way when the distributor is killed";
  std::multiset<std::string> received;
  while (received.size() < sent.size()) {
    const std::string campaign = pushed();
    if (campaign.empty()) break;
    received.insert(campaign);
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  RecordProperty("seconds", std::to_string(took.count()));
  std::printf("%d messages in %.1f s\n", kCount, took.count());
  const Texts list = kept();
  EXPECT_EQ(std::set<std::string>(list.begin(), list.end()), sent);
  EXPECT_LE(list.size(), sent.size() + 1) << "the one that was being delivered may come again";
  EXPECT_EQ(std::set<std::string>(received.begin(), received.end()), sent);
}

}  // namespace
