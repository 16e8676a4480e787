#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "Platform/Foundation/Dispatch.h"
#include "Tests/Support/TestDevice.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {

using zn::Value;
using zn::test::TestDevice;

TEST(ExceptionGuard, LogsWhatFailedWhereAndGivesTheNeutralResult) {
  TestDevice device;
  const int result =
      zn::guarded("countThings:", "exception while counting : %@", []() -> int { throw zn::Exception("no things"); });
  EXPECT_EQ(result, 0);
  EXPECT_EQ(zn::guarded(
                "f", "%@", []() -> int { throw 7; }, [] { return -1; }),
            -1);
  const Value campaign = "c1";
  zn::guarded("g:", zn::FailureMessage("with cid(%@): %@", campaign, zn::caught),
              [] { throw std::runtime_error("broken"); });
  const auto failures = device.failures();
  ASSERT_EQ(failures.size(), 3u);
  EXPECT_EQ(failures[0].text, "exception while counting : no things");
  EXPECT_EQ(failures[0].operation, "countThings:");
  EXPECT_EQ(failures[0].file, "CoreTest.cpp");
  EXPECT_FALSE(failures[0].callStack.empty());
  EXPECT_EQ(failures[2].text, "with cid(c1): broken");
}

TEST(Configuration, AppliesAFileWithCommentsAndNamesThePlaceOfAnError) {
  TestDevice device;
  const auto& manager = ZNConfigDataManager::sharedInstance();
  const auto load = [&](const char* text) {
    const std::string path = device.home() + "/configuration.json";
    std::ofstream(path) << text;
    std::string error;
    const bool loaded = manager->loadFile(path, &error);
    EXPECT_EQ(loaded, error.empty());
    return error.substr(std::min(error.size(), path.size()));
  };
  EXPECT_EQ(load("{ // ours\n \"appID\": \"shop\", \"inboxDefaultExpiry\": 60 }"), "");
  EXPECT_EQ(manager->getZinAppID(), "shop");
  EXPECT_EQ(manager->getInboxDefaultExpiry(), 60);
  EXPECT_EQ(load("{\"appID\": \"other\", \"inboxDefaultExpiry\": \"soon\"}"),
            ": configuration key \"inboxDefaultExpiry\" must be a number of seconds, not soon");
  EXPECT_EQ(manager->getZinAppID(), "shop") << "nothing of a refused file is applied";
  EXPECT_EQ(load("{\"appId\": \"x\"}"), ": configuration key \"appId\" is not known");
  EXPECT_NE(load("{\n \"appID\" \"x\"}").find("line 2"), std::string::npos);
  std::string error;
  EXPECT_FALSE(manager->loadFile(device.home() + "/none.json", &error));
  EXPECT_NE(error.find("no such file"), std::string::npos);
}

class RudeTransport : public ZNNetworkTransport {
 public:
  void execute(const ZNNetworkRequest&, std::function<void(Value)> completion) override {
    completion(answer);
    completion(Value::dictionary({{"second", "time"}}));
  }
  Value answer;
};

TEST(NetworkRequest, TheCompletionIsCalledOnceAndOnlyADictionaryIsAnAnswer) {
  TestDevice device;
  const auto transport = std::make_shared<RudeTransport>();
  ZNNetworkRequest::setTransport(transport);
  const auto ask = [&](const Value& answer) {
    transport->answer = answer;
    std::vector<std::pair<bool, Value>> answers;
    ZNNetworkRequest::initWithService(ZNService::inbox, zn::nil, zn::nil, Value::dictionary(), zn::nil)
        ->executeRequestWithCompletionBlock([&](bool success, const Value& response) {
          answers.emplace_back(success, response);
          throw zn::Exception("a completion that fails");
        });
    EXPECT_EQ(answers.size(), 1u);
    return answers[0];
  };
  EXPECT_EQ(ask(Value::dictionary({{"a", 1}})), std::make_pair(true, Value::dictionary({{"a", 1}})));
  for (const Value& odd : {zn::nil, Value::null(), Value::array({1}), Value("text")}) {
    EXPECT_EQ(ask(odd), std::make_pair(false, zn::nil));
  }
}

}  // namespace
