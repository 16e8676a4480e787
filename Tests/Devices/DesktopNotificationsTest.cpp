#include <algorithm>
#include <fstream>
#include <regex>

#include "Tests/Devices/DesktopTest.h"
#include "ZNPlatform/UserNotifications/UNNotification.h"

namespace {

using zn::Value;
using Manner = zn::test::ScriptedServer::Manner;

class DesktopNotificationsTest : public zn::test::DesktopTest {
 protected:
  void SetUp() override {
    DesktopTest::SetUp();
    if (IsSkipped()) return;
    startServer();
  }
  /// The next response as "ID ACTION", with " opening" where the application comes to the front.
  std::string response() {
    const Value response = host_->told("response");
    std::string action(response["action"].string());
    if (action == UNNotificationDefaultActionIdentifier) action = "clicked";
    if (action == UNNotificationDismissActionIdentifier) action = "dismissed";
    return std::string(response["id"].string()) + " " + action + (response["opens"].boolean() ? " opening" : "");
  }
  void post(const char* id, const std::string& more = "") {
    host_->run(R"({"do": "post", "id": ")" + std::string(id) + R"(", "title": ")" + id + "\"" + more + "}");
  }
  /// Waits until the application has written down under which number this one, or any (0), stands at the server.
  void awaitKept(std::int64_t id) {
    const std::regex handle("\"handle\":\"" + (id ? std::to_string(id) : "[1-9][0-9]*") + "\"");
    EXPECT_TRUE(zn::test::waitUntil([&] {
      std::ifstream file(host_->home() + "/Library/DesktopNotifications");
      return std::regex_search(std::string(std::istreambuf_iterator<char>(file), {}), handle);
    }));
  }
  Value list(const char* text) { return zn::parseJson(text).value(); }
  Value shown() { return host_->ask("shown")["ids"]; }
};

TEST_F(DesktopNotificationsTest, AClickReachesTheApplicationOnceWhateverElseTheServerTells) {
  startHost();
  const std::string image = session_->path("image.png");
  std::ofstream(image) << "image";
  post("offer", R"(, "body": "<b>2</b> & more", "category": "OFFER", "image": ")" + image + "\"");
  const Value offer = nextShown();
  EXPECT_EQ(offer["title"], "offer");
  EXPECT_EQ(offer["body"], "&lt;b&gt;2&lt;/b&gt; &amp; more");
  EXPECT_EQ(offer["actions"],
            list(R"(["default", "Open", "action:BUY", "Buy now", "action:LATER", "Remind me later"])"));
  EXPECT_EQ(offer["hints"]["image-path"], image);
  EXPECT_EQ(offer["hints"]["desktop-entry"], "com.example.Shop");
  server_->click(Value::dictionary({{"id", 999}}), "default");
  server_->click(offer, "nobody's");
  server_->click(offer, "action:BUY");
  server_->click(offer, "default");
  server_->close(offer, 2);
  EXPECT_EQ(response(), "offer BUY opening");
  EXPECT_EQ(server_->closed.wait(1), std::vector<std::int64_t>{offer["id"].integer()}) << "not every server does so";

  post("plain");
  const Value plain = nextShown();
  EXPECT_TRUE(plain["hints"]["image-path"].isNil());
  server_->close(plain, 2);  // of no category that reports it
  post("gone", R"(, "category": "OFFER")");
  server_->close(nextShown(), 2);
  EXPECT_EQ(response(), "gone dismissed");
  post("late", R"(, "category": "OFFER")");
  const Value late = nextShown();
  server_->close(late, 1);
  server_->click(late, "action:LATER");  // from the server's history
  EXPECT_EQ(response(), "late LATER");

  post("news");
  const Value first = nextShown();
  post("news", R"(, "body": "newer")");
  const Value second = nextShown();
  EXPECT_EQ(second["replaces"], first["id"]);
  EXPECT_EQ(shown(), list(R"(["news"])"));
  post("other");
  const Value other = nextShown();
  host_->run(R"({"do": "remove", "ids": ["news"]})");
  const std::int64_t id = first["id"].integer();
  const auto isClosed = [id](const auto& ids) { return std::find(ids.begin(), ids.end(), id) != ids.end(); };
  EXPECT_TRUE(isClosed(server_->closed.waitFor(isClosed)));
  server_->click(second, "default");
  server_->click(other, "default");
  EXPECT_EQ(response(), "other clicked opening");
  EXPECT_EQ(shown(), Value::array());
}

TEST_F(DesktopNotificationsTest, WhatAServerLacksIsLeftOutAndTold) {
  struct Case {
    std::vector<std::string> capabilities;
    const char* title;
    const char* body;
    std::size_t actions;
    const char* lacks;
  };
  startHost();
  for (const Case& each :
       {Case{{"body", "persistence"}, "a", "<1> & 2", 0, "clicks and buttons in notifications"},
        Case{{"actions", "persistence"}, "a: <1> & 2", "", 6, "texts below the titles of notifications"},
        Case{{}, "a", "<1> & 2", 0, "clicks and buttons in notifications"}}) {
    host_->run(R"({"do": "removeAll"})");
    seen_ = 0;
    startServer(each.capabilities);
    EXPECT_TRUE(host_->tellsOf(each.lacks));
    post("a", R"(, "body": "<1> & 2", "category": "OFFER")");
    const Value notification = nextShown();
    EXPECT_EQ(notification["title"], each.title);
    EXPECT_EQ(notification["body"], each.body);
    EXPECT_EQ(notification["actions"].size(), each.actions);
  }
}

TEST_F(DesktopNotificationsTest, WithoutAServerNotificationsWaitForOne) {
  server_.reset();
  host_->start();
  EXPECT_EQ(host_->ask("authorize", "authorized")["granted"], false);
  EXPECT_TRUE(
      zn::test::waitUntil([this] { return host_->ask("missing")["what"] == list(R"(["a notification server"])"); }));
  host_->run(R"({"do": "allow", "allowed": true})");
  for (const char* id : {"a", "b", "c"}) post(id);
  host_->run(R"({"do": "remove", "ids": ["b"]})");
  EXPECT_EQ(shown(), list(R"(["a", "c"])"));
  startServer();
  EXPECT_EQ(nextShown()["title"], "a");
  const Value last = nextShown();
  EXPECT_EQ(last["title"], "c");
  server_->click(last, "default");
  EXPECT_EQ(response(), "c clicked opening");
}

TEST_F(DesktopNotificationsTest, AServerThatNeverAnswersHoldsUpNothing) {
  startServer({}, Manner::hangs);
  host_->start();
  host_->run(R"({"do": "allow", "allowed": true})");
  post("a");
  EXPECT_EQ(shown(), list(R"(["a"])"));
  EXPECT_EQ(nextShown()["title"], "a") << "after a while it is asked all the same";
  EXPECT_EQ(host_->ask("missing")["what"], list(R"(["a notification server that answers"])"));
  seen_ = 0;
  startServer();
  EXPECT_EQ(nextShown()["title"], "a");
}

TEST_F(DesktopNotificationsTest, WhatStandsOnTheScreenOutlivesServersTheBusAndTheApplication) {
  startHost();
  post("a");
  post("b");
  nextShown();
  const Value b = nextShown();
  awaitKept(b["id"].integer());

  // The server goes on, the application does not.
  host_->kill();
  startHost();
  EXPECT_EQ(shown(), list(R"(["a", "b"])"));
  server_->click(b, "default");
  EXPECT_EQ(response(), "b clicked opening");
  post("c");
  EXPECT_EQ(nextShown()["title"], "c") << "none is shown a second time";

  // Another one waits in line, and takes the server's place.
  auto next =
      std::make_unique<zn::test::ScriptedServer>(session_->address(), std::vector<std::string>{"actions", "body"});
  server_ = std::move(next);
  EXPECT_EQ(titles(server_->shown.wait(2)), list(R"(["a", "c"])"));

  // Another one, while nobody looks.
  awaitKept(server_->shown.all()[1]["id"].integer());
  host_->kill();
  startServer();
  host_->start();
  EXPECT_EQ(titles(server_->shown.wait(2)), list(R"(["a", "c"])"));

  server_->shown.take();
  session_->endBus();
  post("d");
  session_->startBus();
  const Values again = server_->shown.wait(3);
  EXPECT_EQ(titles(again), list(R"(["a", "c", "d"])"));
  for (const Value& each : again) server_->click(each, "default");
  for (const char* expected : {"a clicked opening", "c clicked opening", "d clicked opening"}) {
    EXPECT_EQ(response(), expected);
  }
  EXPECT_EQ(shown(), Value::array());
  EXPECT_EQ(server_->shown.count(), 3u);
}

TEST_F(DesktopNotificationsTest, DelaysOutliveTheApplication) {
  startHost();
  post("soon", R"(, "delay": 0.05)");
  post("later", R"(, "delay": 3600)");
  post("never", R"(, "delay": 3600)");
  EXPECT_EQ(nextShown()["title"], "soon");
  host_->run(R"({"do": "removePending", "ids": ["never", "soon"]})");
  EXPECT_EQ(host_->ask("pending")["ids"], list(R"(["later"])"));
  post("meanwhile", R"(, "delay": 0.2)");
  EXPECT_TRUE(host_->tellsOf(R"("posted","id":"meanwhile")"));  // and so it is on the disk
  host_->kill();
  host_->start();
  EXPECT_EQ(nextShown()["title"], "meanwhile");
  EXPECT_EQ(host_->ask("pending")["ids"], list(R"(["later"])"));
  EXPECT_EQ(shown(), list(R"(["soon", "meanwhile"])"));
}

TEST_F(DesktopNotificationsTest, PermissionAndThePresentationAreKeptAndAskedFor) {
  host_->start();
  EXPECT_EQ(host_->ask("settings")["alert"], static_cast<int>(UNNotificationSetting::notDetermined));
  post("early");
  EXPECT_FALSE(host_->told("posted")["error"].isNil());
  EXPECT_EQ(host_->ask("authorize", "authorized")["granted"], true);
  post("too late", R"(, "delay": 0.3)");
  EXPECT_TRUE(host_->told("posted")["error"].isNil());
  host_->run(R"({"do": "allow", "allowed": false})");
  EXPECT_TRUE(zn::test::waitUntil([&] { return host_->ask("pending")["ids"].isEmpty(); }));
  EXPECT_EQ(server_->shown.count(), 0u);
  EXPECT_EQ(host_->ask("settings")["alert"], static_cast<int>(UNNotificationSetting::disabled));
  post("refused");
  EXPECT_FALSE(host_->told("posted")["error"].isNil());
  EXPECT_EQ(host_->end(), 0);
  host_->start();
  EXPECT_EQ(host_->ask("settings")["alert"], static_cast<int>(UNNotificationSetting::disabled));
  host_->run(R"({"do": "allow", "allowed": true})");

  host_->run(R"({"do": "activate", "options": 0})");
  post("unseen");
  EXPECT_EQ(host_->told("asked")["id"], "unseen");
  host_->run(R"({"do": "activate", "options": 4})");
  post("seen");
  const Value seen = nextShown();
  EXPECT_EQ(seen["title"], "seen");
  EXPECT_EQ(seen["hints"]["suppress-sound"], true);
  server_->click(seen, "default");
  EXPECT_EQ(response(), "seen clicked") << "it is in front already";
}

/// With dunst, under a display that nobody sees.
class RealDaemonTest : public DesktopNotificationsTest {
 protected:
  void SetUp() override {
    const std::string lack = zn::test::lackOf({"dbus-daemon", "Xvfb", "dunst", "dunstctl"});
    if (!lack.empty()) GTEST_SKIP() << lack;
    DesktopTest::SetUp();
    session_->startDisplay();
    session_->startDunst();
  }
  void awaitDisplayed(int count) {
    EXPECT_TRUE(zn::test::waitUntil([&] { return session_->displayedByDunst() == count; })) << count;
  }
};

TEST_F(RealDaemonTest, ClicksButtonsAndDismissalsReachTheApplication) {
  startHost();
  post("a", R"(, "body": "text", "category": "OFFER")");
  awaitDisplayed(1);
  EXPECT_TRUE(session_->dunstctl({"action", "0"}));
  EXPECT_EQ(response(), "a clicked opening");
  EXPECT_TRUE(session_->dunstctl({"close-all"}));  // an action that is called this way leaves it there

  session_->chooseButtons("Remind me later");
  post("b", R"(, "category": "OFFER")");
  awaitDisplayed(1);
  EXPECT_TRUE(session_->dunstctl({"context"}));
  EXPECT_EQ(response(), "b LATER");
  EXPECT_TRUE(session_->dunstctl({"close-all"}));

  post("c", R"(, "category": "OFFER")");
  awaitDisplayed(1);
  EXPECT_TRUE(session_->dunstctl({"close"}));
  EXPECT_EQ(response(), "c dismissed");

  post("d");
  awaitDisplayed(1);
  session_->killDunst();
  session_->startDunst();
  awaitDisplayed(1);
  awaitKept(0);
  host_->kill();
  startHost();
  post("e");
  awaitDisplayed(2);  // so the first is replaced by now, for this daemon tells of a click only who posted last
  EXPECT_TRUE(session_->dunstctl({"action", "0"}));
  EXPECT_EQ(response(), "d clicked opening");
  EXPECT_EQ(shown(), list(R"(["e"])"));
}

TEST_F(RealDaemonTest, AnApplicationInASandboxIsServedByThePortal) {
  if (!std::filesystem::exists(std::string(zn::test::PrivateSession::kPortalFolder) + "xdg-desktop-portal-gtk")) {
    GTEST_SKIP() << "xdg-desktop-portal-gtk is not installed";
  }
  host_->launcher = zn::test::sandboxFor("com.example.Shop", session_->path(""));
  if (host_->launcher.empty()) GTEST_SKIP() << "bwrap can make no sandbox here";
  session_->killDunst();
  session_->startPortal();
  session_->startDunst();
  startHost();
  post("a", R"(, "body": "<b>text</b>", "category": "OFFER")");
  awaitDisplayed(1);
  EXPECT_TRUE(session_->dunstctl({"action", "0"}));
  EXPECT_EQ(response(), "a clicked opening");
  EXPECT_TRUE(session_->dunstctl({"close-all"}));  // the back end leaves it there
  session_->chooseButtons("Remind me later");
  post("b", R"(, "category": "OFFER")");
  awaitDisplayed(1);
  EXPECT_TRUE(session_->dunstctl({"context"}));
  EXPECT_EQ(response(), "b LATER");
  EXPECT_TRUE(session_->dunstctl({"close-all"}));
  post("c");
  awaitDisplayed(1);
  host_->run(R"({"do": "remove", "ids": ["c"]})");
  awaitDisplayed(0);
}

TEST_F(RealDaemonTest, AnotherDaemonIsClickedWithTheMouse) {
  const std::string daemon = "/usr/lib/notification-daemon/notification-daemon";
  const std::string lack = zn::test::lackOf({"xdotool"});
  if (!lack.empty() || !std::filesystem::exists(daemon)) GTEST_SKIP() << daemon << " or xdotool is not installed";
  session_->killDunst();
  const zn::test::Process another({daemon}, session_->environment());
  startHost();
  post("a", R"(, "body": "<b>text</b>", "category": "OFFER")");
  zn::test::Process mouse({"xdotool", "search", "--sync", "--onlyvisible", "--class", "^Notification-daemon$",
                           "mousemove", "--window", "%1", "200", "40", "click", "1"},
                          session_->environment());
  EXPECT_EQ(response(), "a clicked opening");
  EXPECT_EQ(mouse.end(0), 0);
  EXPECT_EQ(shown(), Value::array());
}

}  // namespace
