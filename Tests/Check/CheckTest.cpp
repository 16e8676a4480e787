// What is said of mistakes that authors really make, and that nothing is said of what is right.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

#include "Apps/Check/Check.h"
#include "Apps/Check/Description.h"
#include "Apps/zinsim/Commands.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace {

using apps::check::Finding;
using apps::check::Kind;

constexpr double kNow = 1767225600;  // 2026-01-01

std::string findingsIn(Kind kind, std::string_view text) {
  std::string all;
  for (const Finding& finding : apps::check::check(kind, text, {.now = kNow, .lineProblems = zinsim::problemsIn})) {
    // The place begins a line of the table.
    all += "--" + apps::check::lineFor("", finding).replace(0, 1, " ") + "\n";
  }
  return all;
}

std::string contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  EXPECT_TRUE(file) << path;
  return {std::istreambuf_iterator<char>(file), {}};
}

/// An entry of Table.txt.
struct Entry {
  int line;
  Kind kind;
  std::string text;
  std::string findings;
};

std::vector<Entry> table() {
  std::vector<Entry> entries;
  std::istringstream file(contentsOf(ZN_SOURCES "/Tests/Check/Table.txt"));
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    if (line.starts_with("== ")) {
      entries.push_back({number, apps::check::kindNamed(line.substr(3)).value(), "", ""});
    } else if (line.starts_with("-- ")) {
      entries.back().findings += line + "\n";
    } else if (!entries.empty()) {
      entries.back().text += line + "\n";
    }
  }
  return entries;
}

TEST(Check, SaysOfEachMistakeOfTheTableWhatStandsThere) {
  int mistakes = 0;
  for (const Entry& entry : table()) {
    const std::string text = entry.text.substr(0, entry.text.size() - 1);
    EXPECT_EQ(findingsIn(entry.kind, text), entry.findings) << "Table.txt:" << entry.line;
    mistakes += entry.findings.empty() ? 0 : 1;
  }
  EXPECT_GE(mistakes, 60);
}

TEST(Check, FindsNothingInExamplesAndScenarios) {
  // What these are about is what is wrong in them.
  const std::set<std::string> withMistakes = {
      "card-actions.jsonl",            // templates and actions of wrong types, empty links
      "click-actions.jsonl",           // links that are none
      "inbox-screen.jsonl",            // a text that is a number
      "inbox-sync.jsonl",              // messages of a wrong type, and without a payload
      "push-opt-out.1.jsonl",          // a campaign that is never stored, without most keys
      "responses.jsonl",               // "silentPush": false
      "triggers-explained.jsonl",      // campaigns that are dropped
      "triggers-odd-campaigns.jsonl",  // everything that a server can get wrong
      "triggers-sync.jsonl",           // likewise
      "triggers.jsonl",                // a campaign that is never shown
  };
  int files = 0;
  for (const char* folder : {"/Examples/payloads", "/Examples/campaigns", "/Examples", "/Tests/Scenarios"}) {
    for (const auto& each : std::filesystem::directory_iterator(std::string(ZN_SOURCES) + folder)) {
      const auto extension = each.path().extension();
      if (extension != ".json" && extension != ".jsonl") continue;
      const std::string text = contentsOf(each.path());
      const auto kind = apps::check::kindOf(text);
      ASSERT_TRUE(kind) << each.path();
      const bool isClean = findingsIn(*kind, text).empty();
      EXPECT_NE(isClean, withMistakes.contains(each.path().filename())) << each.path() << "\n"
                                                                        << findingsIn(*kind, text);
      ++files;
    }
  }
  EXPECT_GT(files, 40);
}

TEST(Check, TellsTheKindFromTheKeys) {
  int untold = 0;
  for (const Entry& entry : table()) untold += apps::check::kindOf(entry.text) == entry.kind ? 0 : 1;
  EXPECT_LE(untold, 4);  // texts without a single key of ours
  EXPECT_EQ(apps::check::kindOf(R"({"zintar": {"cid": "a"}})"), Kind::payload);
  EXPECT_EQ(apps::check::kindOf(R"({"something": "else"})"), std::nullopt);
  EXPECT_EQ(apps::check::kindOf("{"), Kind::payload) << "that it is no JSON is to be said";
}

TEST(Check, KnowsOtherEncodingsAndSizes) {
  EXPECT_EQ(findingsIn(Kind::payload, std::string_view("\xFF\xFE{\0}\0", 6)),
            "-- 1:1: error: this is UTF-16, which no device reads (save it as UTF-8)\n");
  EXPECT_EQ(findingsIn(Kind::payload, "{\"aps\": {\"alert\": \"caf\xE9\"}}"),
            "-- 1:24: error: this is no JSON: the string is not valid UTF-8 (save it as UTF-8)\n");
  EXPECT_EQ(findingsIn(Kind::payload, "\xEF\xBB\xBF{\"aps\": {\"alert\": \"with a mark\"}}"), "");
  const std::string start = R"({"aps":{"alert":")";
  const auto payload = [&](std::size_t size) { return start + std::string(size - start.size() - 3, 'a') + "\"}}\n"; };
  EXPECT_EQ(findingsIn(Kind::payload, payload(3993)), "");
  EXPECT_EQ(findingsIn(Kind::payload, payload(3994)),
            "-- 1:1: error: the payload has 3994 bytes without blanks, and push servers refuse more than 3993 "
            "(shorten it)\n");
}

TEST(Check, LinksOfOtherSchemesAreFoundWhereTheApplicationNamesItsOwn) {
  const std::string text = R"({"aps": {"alert": "A"}, "app_extra": {"zin_deeplink": "shop://a"}})";
  EXPECT_TRUE(apps::check::check(Kind::payload, text, {.linkSchemes = {"shop"}}).empty());
  EXPECT_EQ(apps::check::check(Kind::payload, text, {.linkSchemes = {"store"}}).size(), 1U);
}

TEST(Check, ConfigurationKeysAreThoseThatTheLibraryTakes) {
  const auto isKnown = [](const zn::Value& configuration) {
    try {
      ZNConfigDataManager().applySilently(configuration);
    } catch (const zn::Exception& refusal) {
      return !refusal.reason().ends_with("is not known");
    }
    return true;
  };
  for (const auto& key : apps::check::objectKind("configuration").keys) {
    EXPECT_TRUE(isKnown(zn::Value::dictionary({{key.name, zn::Value::array()}}))) << key.name;
  }
  for (const auto& key : apps::check::objectKind("server").keys) {
    const zn::Value server = zn::Value::dictionary({{key.name, zn::Value::array()}});
    EXPECT_TRUE(isKnown(zn::Value::dictionary({{"server", server}}))) << key.name;
  }
}

}  // namespace
