#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>

#include "Tests/Devices/DesktopTest.h"
#include "Tests/Support/InTheWay.h"
#include "ZNPlatform/Foundation/File.h"

namespace {

using zn::Value;
using zn::test::Subscription;

class DesktopPushTest : public zn::test::DesktopTest {
 protected:
  void SetUp() override {
    DesktopTest::SetUp();
    if (IsSkipped()) return;
    distributor_ = std::make_unique<zn::test::DistributorProcess>(*session_);
    startServer();
  }
  /// In the next token.
  Subscription subscription() { return Subscription::of(std::string(host_->told("token")["token"].string())); }
  Subscription registered() {
    host_->run(R"({"do": "register"})");
    return subscription();
  }
  static std::string payload(const std::string& campaign) {
    return R"({"aps": {"alert": {"title": ")" + campaign + R"("}}, "zintar": {"cid": ")" + campaign + "\"}}";
  }
  static int push(const Subscription& to, const std::string& campaign) {
    return zn::test::push(to.endpoint, to.sealed(payload(campaign)));
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
    const Subscription there = registered();
    EXPECT_EQ(push(there, version), 201);
    EXPECT_EQ(pushed(), version);
    EXPECT_EQ(nextShown()["title"], version);
    EXPECT_EQ(zn::test::push(there.endpoint, there.sealed("no JSON")), 201);
    EXPECT_TRUE(host_->tellsOf("no JSON object"));
    EXPECT_EQ(zn::test::push(there.endpoint, there.sealed(R"({"zintar": {"cid": "silent", "silentPush": 1}})")), 201);
    pushed();
    EXPECT_EQ(kept().back(), version);
    EXPECT_EQ(zn::test::push(there.endpoint, std::string(4097, 'x')), 413);
    EXPECT_EQ(zn::test::push(there.endpoint, ""), 400);
    EXPECT_EQ(zn::test::push(there.endpoint + "0", "x"), 404);
    EXPECT_EQ(host_->end(), 0);
    distributor_->end(SIGTERM);
  }
  EXPECT_EQ(server_->shown.wait(2).size(), 2u);
}

TEST_F(DesktopPushTest, NothingIsLostOrDoubledWhileAnybodyIsAway) {
  distributor_->start();
  startHost();
  const Subscription there = registered();
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
  EXPECT_TRUE(registered() == there);
  EXPECT_EQ(push(there, "c"), 201);
  EXPECT_EQ(pushed(), "c");
  EXPECT_EQ(kept(), (Texts{"a", "b", "c"}));
}

TEST_F(DesktopPushTest, WhatCannotBeKeptIsShownOnceAndComesAgainUntilItIs) {
  distributor_->start();
  startHost();
  const Subscription there = registered();
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
  EXPECT_EQ(server_->shown.wait(2).size(), 2u);
}

TEST_F(DesktopPushTest, ADistributorThatMisbehavesWithMessagesDoublesNone) {
  distributor_->start({"--fault", R"({"twice": true, "unknownToken": true, "newEndpointAfter": 2})"});
  startHost();
  const Subscription there = registered();
  for (const char* campaign : {"a", "b"}) EXPECT_EQ(push(there, campaign), 201);
  const Subscription another = subscription();
  EXPECT_NE(another.endpoint, there.endpoint);
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
  const Subscription first = subscription();
  EXPECT_EQ(push(first, "a"), 201);
  EXPECT_EQ(pushed(), "a");
  const Subscription second = subscription();
  EXPECT_NE(second.endpoint, first.endpoint);
  EXPECT_NE(second.p256dh, first.p256dh);
  EXPECT_EQ(push(second, "b"), 201);
  EXPECT_EQ(pushed(), "b");
}

TEST_F(DesktopPushTest, WhatWasNotSealedForItIsLeftUnusedAndNotShown) {
  distributor_->start();
  startHost();
  const Subscription there = registered();
  const std::string body = there.sealed(payload("a"));
  for (int times = 0; times < 2; ++times) EXPECT_EQ(zn::test::push(there.endpoint, body), 201);
  EXPECT_TRUE(host_->tellsOf("it came before"));
  EXPECT_EQ(zn::test::push(there.endpoint, payload("secret")), 201);
  const std::string line(host_->told("diagnostic")["text"].string());
  EXPECT_NE(line.find("acceptPlainPushes"), std::string::npos) << line;
  EXPECT_EQ(line.find("secret"), std::string::npos) << line;
  std::string changed = there.sealed(payload("b"));
  changed.back() ^= 1;
  EXPECT_EQ(zn::test::push(there.endpoint, changed), 201);
  EXPECT_TRUE(host_->tellsOf("changed on its way"));
  EXPECT_EQ(host_->end(), 0);
  startHost();
  EXPECT_TRUE(registered() == there);
  EXPECT_EQ(zn::test::push(there.endpoint, body), 201);
  EXPECT_TRUE(host_->tellsOf("it came before")) << "a process later, too";
  EXPECT_EQ(host_->end(), 0);
  host_->arguments = {"plain"};
  startHost();
  registered();
  EXPECT_EQ(zn::test::push(there.endpoint, payload("plain")), 201);
  EXPECT_EQ(pushed(), "plain");
  EXPECT_EQ(kept(), (Texts{"a", "plain"}));
  EXPECT_EQ(nextShown()["title"], "a");
  EXPECT_EQ(nextShown()["title"], "plain");
}

TEST_F(DesktopPushTest, AnotherOwnerAndLostKeysMakeAnotherRegistration) {
  distributor_->start();
  startHost();
  host_->run(R"({"do": "logIn", "user": "a"})");
  Subscription last = registered();
  const auto isRenewed = [&](const char* why) {
    const Subscription now = subscription();
    EXPECT_NE(now.endpoint, last.endpoint) << why;
    EXPECT_NE(now.p256dh, last.p256dh) << why;
    EXPECT_NE(now.auth, last.auth) << why;
    EXPECT_EQ(push(now, why), 201);
    EXPECT_EQ(pushed(), why);
    EXPECT_FALSE(distributor_->logged("unregistered").isNil()) << why;
    EXPECT_EQ(push(last, "late"), 404) << why;
    last = now;
  };
  host_->run(R"({"do": "logIn", "user": "b"})");
  isRenewed("another user");
  host_->run(R"({"do": "optOut", "out": true})");
  isRenewed("opted out");
  const std::string file = host_->home() + "/Library/DesktopPush";
  const zn::Data bytes = zn::readFile(file).value_or(zn::Data());
  std::string state(bytes.begin(), bytes.end());
  EXPECT_EQ(std::filesystem::status(file).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  EXPECT_EQ(host_->end(), 0);
  state.replace(state.find("\"private\":\"") + 14, 4, "AAAA");
  std::ofstream(file) << state;
  host_->start();
  EXPECT_TRUE(host_->tellsOf("keys of the registration are lost"));
  isRenewed("a damaged key");  // by itself, since the server goes by the old one
  for (const char* contents : {"", "{\"token\": "}) {
    EXPECT_EQ(host_->end(), 0);
    std::ofstream(file) << contents;
    host_->start();
    EXPECT_NE(std::exchange(last, subscription()).p256dh, last.p256dh);
  }
  EXPECT_EQ(host_->end(), 0);
  {
    const zn::test::InTheWay folder(file);
    host_->start();
    const Subscription kept = subscription();
    EXPECT_EQ(push(kept, "unwritable"), 201);
    EXPECT_EQ(pushed(), "unwritable");
    EXPECT_EQ(host_->end(), 0);
  }
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
  EXPECT_EQ(push(subscription(), "a"), 201);
  EXPECT_EQ(pushed(), "a");
}

TEST_F(DesktopPushTest, ABurstArrivesWholeAlthoughTheDistributorIsKilledInIt) {
  constexpr int kCount = 5000;
  distributor_->start();
  startHost();
  const Subscription there = registered();
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
