#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <limits>

#include "Tests/Support/PlainDevice.h"
#include "Tests/Support/TestDevice.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/UserSession.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNDateUtils.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {

using zn::Value;
using zn::test::TestDevice;

TEST(ExceptionGuard, LogsWhatFailedWhereAndGivesTheNeutralResult) {
  TestDevice device;
  EXPECT_EQ(zn::guarded("countThings:", "counting : %@", []() -> int { throw zn::Exception("no things"); }), 0);
  EXPECT_EQ(zn::guarded(
                "f", "%@", []() -> int { throw 7; }, [] { return -1; }),
            -1);
  zn::guarded("g:", zn::FailureMessage("with cid(%@): %@", Value("c1"), zn::caught),
              [] { throw std::runtime_error("broken"); });
  const auto failures = device.failures();
  ASSERT_EQ(failures.size(), 3u);
  EXPECT_EQ(failures[0].operation + " " + failures[0].text, "countThings: counting : no things");
  EXPECT_EQ(failures[0].file, "CoreTest.cpp");
  EXPECT_FALSE(failures[0].callStack.empty());
  EXPECT_EQ(failures[2].text, "with cid(c1): broken");
}

TEST(Log, FilesArePrivateAndForeignTextForgesNoLine) {
  TestDevice device;
  const std::string path = device.home() + "/log";
  std::ofstream(path) << "earlier\n";
  std::filesystem::permissions(path, std::filesystem::perms{0644});
  const auto& logger = ZNLogger::sharedInstance();
  ASSERT_TRUE(logger->setFile(path));
  const std::string forged = "a\n1.000 [1] forged\r\x1b[2J\xc2\x85\xe2\x80\xa8\xff \\ \xc3\xa9";
  logger->logWithType(ZNLogger::kInfo, "%@", forged);
  logger->setFile("");
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms{0600});
  const auto bytes = zn::readFile(path);
  const std::string text(bytes->begin(), bytes->end());
  EXPECT_TRUE(text.starts_with("earlier\n"));
  EXPECT_EQ(text.substr(text.find(']') + 1), " a\\n1.000 [1] forged\\r\\x1b[2J\\x85\\u2028\\xff \\ \xc3\xa9\n");
  EXPECT_EQ(device.log().back(), forged) << "an observer gets the text itself";

  testing::internal::CaptureStderr();
  device.device().screen->openLink(zn::LinkKind::landing, "https://shop.example/reset?token=1#code");
  device.device().systemLog->diagnostic("two\nlines");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "zintar: this device opens no links: landing page https://shop.example/reset\nzintar: two\\nlines\n");
}

TEST(Configuration, AppliesAFileWithCommentsAndNamesThePlaceOfAnError) {
  TestDevice device;
  const auto& manager = ZNConfigDataManager::sharedInstance();
  const auto load = [&](const std::string& text) {
    const std::string path = device.home() + "/configuration.json";
    std::ofstream(path) << text;
    std::string error;
    const bool loaded = manager->loadFile(path, &error);
    EXPECT_EQ(loaded, error.empty());
    return error.substr(std::min(error.size(), path.size()));
  };
  EXPECT_EQ(load("{ // ours\n \"appID\": \"shop\", \"inboxDefaultExpiry\": 60 }"), "");
  EXPECT_EQ(manager->getInboxDefaultExpiry(), 60);
  EXPECT_EQ(load(R"({"appID": "other", "inboxDefaultExpiry": "soon"})"),
            ": configuration key \"inboxDefaultExpiry\" must be a number of seconds, not soon");
  EXPECT_EQ(manager->getZinAppID(), "shop") << "nothing of a refused file is applied";
  EXPECT_EQ(load(R"({"appId": "x"})"), ": configuration key \"appId\" is not known");
  for (const char* refused : {R"({"server": {"address": "ftp://host"}})", R"({"server": {"timeout": 0}})",
                              R"({"server": {"address": "https://host?x=1"}})", R"({"server": {"adress": "x"}})",
                              R"({"server": {"endpoints": {"7": "/a?b"}}})", R"({"appGroupID": "group/x"})"}) {
    EXPECT_NE(load(refused), "") << refused;
  }
  EXPECT_NE(load("{\n \"appID\" \"x\"}").find("line 2"), std::string::npos);
  const auto server = [&](const char* address, const char* others = "") {
    return load(zn::format(R"({"server": {"address": "%@"%@}})", address, others));
  };
  for (const char* address : {"http://push.example", "http://127.0.0.1.example", "http://[::2]"}) {
    EXPECT_NE(server(address).find("\"server.allowPlainHttp\""), std::string::npos) << address;
    EXPECT_EQ(server(address, R"(, "allowPlainHttp": true)"), "");
    EXPECT_NE(load(R"({"server": {"allowPlainHttp": false}})"), "") << "while that address stands";
    EXPECT_EQ(load(R"({"server": {"address": null, "allowPlainHttp": false}})"), "");
  }
  for (const char* address : {"https://push.example", "http://127.1.2.3:8088", "http://[::1]", "http://LocalHost/x"}) {
    EXPECT_EQ(server(address), "");
  }
}

TEST(Configuration, AnAccountThatIsLeftInactiveIsReportedOnceForEachReason) {
  auto& log = zn::test::PlainDevice::installed().log();
  const auto& manager = ZNConfigDataManager::sharedInstance();
  const auto isReported = [&](const char* reason) {
    for (int i = 0; i < 2; ++i) EXPECT_FALSE(manager->isAccountActive());
    const auto lines = log.take();
    return lines.size() == 1 && lines[0].find(reason) != std::string::npos;
  };
  EXPECT_TRUE(isReported("no configuration is loaded"));
  manager->apply(Value::dictionary());
  EXPECT_TRUE(isReported("does not say \"accountActive\": true"));
  manager->apply(Value::dictionary({{"accountActive", true}}));
  EXPECT_TRUE(manager->isAccountActive());
  manager->apply(Value::dictionary({{"accountActive", false}}));
  EXPECT_FALSE(manager->isAccountActive());
  EXPECT_EQ(log.count(), 0u) << "it was said";
}

struct PostCounter {
  explicit PostCounter(const char* name) {
    NSNotificationCenter::defaultCenter()->addObserver(owner, name, [this](const NSNotification&) { ++count; });
  }
  int taken() { return std::exchange(count, 0); }
  int count = 0;
  const std::shared_ptr<void> owner = std::make_shared<int>();
};

TEST(Configuration, ModulesAreToldOfEveryChangeOnce) {
  TestDevice device;
  const auto& manager = ZNConfigDataManager::sharedInstance();
  PostCounter updates(kNotificationNameUpdateModules);
  const auto set = [&](const char* key, const Value& value) {
    manager->apply(Value::dictionary({{key, value}}));
    return updates.taken();
  };
  EXPECT_EQ(set("accountActive", true), 0) << "it was";
  EXPECT_EQ(set("accountActive", false), 1);
  EXPECT_EQ(set("queryParams", Value::dictionary({{"app", "a"}})), 1);
  EXPECT_EQ(set("queryParams", Value::dictionary({{"app", "a"}})), 0);
  EXPECT_THROW(set("accountActive", "yes"), zn::Exception);
  EXPECT_TRUE(manager->applySilently(Value::dictionary({{"accountActive", true}})));
  EXPECT_EQ(updates.taken(), 0);
}

TEST(UserSession, AResetIsPostedWhenAUserLeaves) {
  TestDevice device;
  PostCounter resets(kNotificationNameUserReset);
  for (const auto& [user, posted] : {std::pair("anna", 0), {"anna", 0}, {"ben", 1}, {"", 1}}) {
    zn::UserSession::logIn(user);
    EXPECT_EQ(resets.taken(), posted) << user;
  }
  EXPECT_EQ(zn::UserSession::user(), zn::nil);
  zn::UserSession::logOut();
  EXPECT_EQ(resets.taken(), 0);
  EXPECT_EQ(zn::UserSession::resets(), 2) << "kept for modules that did not run";
}

TEST(DateFormatter, PrintsEveryFieldOfAPattern) {
  for (const auto& [seconds, pattern, text] : {
           std::tuple{1700000000.123, "EEE, dd MMMM yy", "Tue, 14 November 23"},
           {1700000000.123, "hh:mm a 'o''clock', 'or so", "10:13 PM o'clock, or so"},
           {1700000000.123, "h H K k KK B b aaaaa", "10 22 10 22 10 at night PM p"},
           {1700000000.123, "QQQ QQQQ LLLL MMMMM A SS SSSSS g", "Q4 4th quarter November N 80000123 12 12300 2460263"},
           {1700000000.9999997, "ss.SSSSSS", "20.999999"},
           {1699963200, "hh b HH:mm b", "12 noon 12:00 noon"},
           {1703980800, "YYYY-ww y w W F D e E EEEEE EEEEEE", "2024-01 2023 1 6 5 365 1 Sun S Su"},
           {-0.25, "yyyy-MM-dd'T'HH:mm:ss.SSSXXX jj", "1969-12-31T23:59:59.750Z jj"},
           {-99999999999, "EEEE d MMM y G, uuuu", "Thursday 26 Feb 1200 BC, -1199"},
           {-12219292801, "yyyy-MM-dd", "1582-10-04"},
           {-12219292800, "yyyy-MM-dd", "1582-10-15"},
           {4107542400, "yyyy-MM-dd", "2100-03-01"},
           {1640476800, "YYYY-ww", "2022-01"},
           {std::numeric_limits<double>::quiet_NaN(), "yy", ""},
       }) {
    EXPECT_EQ(ZNDateUtils::dateFormatterForUsPosixLocaleWithFormat(pattern, true).stringFromDate({seconds}), text);
  }
}

TEST(DateFormatter, NamesTheDevicesZone) {
  const auto print = [](const char* zone, double seconds, const char* pattern) {
    setenv("TZ", zone, 1);
    tzset();
    return ZNDateUtils::dateFormatterForUsPosixLocaleWithFormat(pattern, false).stringFromDate({seconds});
  };
  zn::HeadlessDevice::Options options;
  const zn::test::TemporaryFolder folder;
  options.home = folder / "home";
  zn::Device::install(std::make_shared<zn::HeadlessDevice>(options));
  const char* const eastern = "EST5EDT,M3.2.0,M11.1.0";
  EXPECT_EQ(print(eastern, 1720000000, "HH Z ZZZZ ZZZZZ z zzzz v"),
            "05 -0400 GMT-04:00 -04:00 EDT Eastern Daylight Time ET");
  EXPECT_EQ(print(eastern, 1700000000, "HH z vvvv O X XX XXX x"), "17 EST Eastern Time GMT-5 -05 -0500 -05:00 -05");
  EXPECT_EQ(print("IST-5:30", 1700000000, "HH:mm z zzzz OOOO X VV"),
            "03:43 GMT+5:30 India Standard Time GMT+05:30 +0530 Etc/Unknown");
  EXPECT_EQ(print("CST-8", 1700000000, "z zzzz"), "GMT+8 GMT+08:00") << "not the one in America";
  EXPECT_EQ(print("UTC0", 1700000000, "z Z X xxx ZZZZZ O"), "UTC +0000 Z +00:00 Z GMT");
  if (!std::filesystem::exists("/usr/share/zoneinfo/America/New_York")) GTEST_SKIP() << "no time-zone database";
  EXPECT_EQ(print(":America/New_York", -3e9, "VV, VVV, O"), "America/New_York, New York, GMT-4:56:02");
}

struct RudeTransport : ZNNetworkTransport {
  explicit RudeTransport(Value with) : answer(std::move(with)) {}
  void execute(const ZNNetworkRequest&, std::function<void(Value)> completion) override {
    completion(answer);
    completion(Value::dictionary({{"second", "time"}}));
  }
  const Value answer;
};

TEST(NetworkRequest, TheCompletionIsCalledOnceAndOnlyADictionaryIsAnAnswer) {
  TestDevice device;
  for (const Value& answer : {Value::dictionary({{"a", 1}}), zn::nil, Value::array({1})}) {
    ZNNetworkRequest::setTransport(std::make_shared<RudeTransport>(answer));
    int calls = 0;
    ZNNetworkRequest::initWithService(ZNService::inbox, zn::nil, zn::nil, Value::dictionary(), zn::nil)
        ->executeRequestWithCompletionBlock([&](bool success, const Value& response) {
          ++calls;
          EXPECT_EQ(success, answer.isDictionary());
          EXPECT_EQ(response, answer.isDictionary() ? answer : zn::nil);
          throw zn::Exception("a completion that fails");
        });
    EXPECT_EQ(calls, 1);
  }
}

}  // namespace
