#include "ZNPlatform/Foundation/NSUserDefaults.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <vector>

#include "Tests/Support/FileSizeLimit.h"
#include "Tests/Support/PlainDevice.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/PropertyList.h"

namespace {

using zn::Value;
using zn::test::PlainDevice;

class UserDefaults : public testing::Test {
 protected:
  void SetUp() override { log().take(); }
  zn::test::RecordingLog& log() { return device_.log(); }
  std::string pathOf(const std::string& suite) { return device_.directories->preferences() + "/" + suite + ".plist"; }
  Value onDisk(const std::string& suite) { return zn::dictionaryWithContentsOfFile(pathOf(suite)); }
  /// Writes the store as a process would that knows nothing of locks.
  void writeFromOutside(const std::string& suite, const Value& contents) {
    ASSERT_TRUE(zn::replaceFile(pathOf(suite), zn::binaryPropertyList(contents)));
  }

 private:
  PlainDevice& device_ = PlainDevice::installed();
};

TEST_F(UserDefaults, ValuesReachTheDiskAndEveryObjectOfTheSuite) {
  const auto defaults = NSUserDefaults::initWithSuiteName("group.values");
  const auto other = NSUserDefaults::initWithSuiteName("group.values");
  const Value list = Value::array({1, zn::Date{5}});
  defaults->setObject("yes", "text");
  defaults->setObject(list, "list");
  defaults->setBool(true, "flag");
  EXPECT_EQ(other->objectForKey("text"), Value("yes"));
  EXPECT_TRUE(other->boolForKey("flag") && other->boolForKey("text"));
  EXPECT_FALSE(other->boolForKey("list")) << "a list is neither";
  other->removeObjectForKey("text");
  EXPECT_EQ(onDisk("group.values"), Value::dictionary({{"list", list}, {"flag", true}}));
  defaults->setObject(zn::nil, "list");
  EXPECT_EQ(onDisk("group.values"), Value::dictionary({{"flag", true}}));
}

TEST_F(UserDefaults, RefusesNamesThatAreNoFileNamesAndValuesThatAreNoPropertyLists) {
  for (const std::string& name :
       {std::string(), std::string("../up"), std::string(".hidden"), std::string("new\nline"), std::string(201, 'x')}) {
    EXPECT_THROW(NSUserDefaults::initWithSuiteName(name), zn::Exception) << name;
  }
  const auto defaults = NSUserDefaults::initWithSuiteName(std::string(200, 'x'));
  defaults->setObject("kept", "key");
  EXPECT_THROW(defaults->setObject(Value::null(), "key"), zn::Exception);
  EXPECT_EQ(defaults->objectForKey("key"), Value("kept"));
  defaults->setObject(Value::dictionary({{"a", 1}, {"b", Value::null()}}), "nulls inside");
  EXPECT_EQ(defaults->objectForKey("nulls inside"), Value::dictionary({{"a", 1}})) << "as another process reads it";
}

TEST_F(UserDefaults, SeesWhatAnotherProcessWroteHoweverFast) {
  const auto defaults = NSUserDefaults::initWithSuiteName("outside");
  // Files of one size that follow each other within a tick of the file system's clock, inodes used again.
  for (int i = 100; i < 400; ++i) {
    writeFromOutside("outside", Value::dictionary({{"number", i}}));
    ASSERT_EQ(defaults->objectForKey("number"), Value(i));
    writeFromOutside("outside", Value::dictionary({{"number", i + 1000}}));
    writeFromOutside("outside", Value::dictionary({{"number", i + 1}}));
  }
  std::filesystem::remove(pathOf("outside"));
  EXPECT_TRUE(defaults->objectForKey("number").isNil());
}

TEST_F(UserDefaults, AValueOfAnotherTypeIsWrittenThoughItIsEqual) {
  const auto defaults = NSUserDefaults::initWithSuiteName("types");
  for (const Value& value : {Value(true), Value(1), Value(1.0)}) {
    for (const Value& nested : {value, Value::array({value}), Value::dictionary({{"a", value}})}) {
      defaults->setObject(nested, nested.isArray() ? "array" : nested.isDictionary() ? "dictionary" : "alone");
    }
    const Value contents = onDisk("types");
    EXPECT_EQ(contents["alone"].type(), value.type());
    EXPECT_EQ(contents["array"].elements().front().type(), value.type());
    EXPECT_EQ(contents["dictionary"]["a"].type(), value.type());
  }
}

TEST_F(UserDefaults, ATransactionThatThrowsChangesNothing) {
  const auto defaults = NSUserDefaults::initWithSuiteName("throws");
  defaults->setObject(1, "a");
  const auto changeAndThrow = [](Value& contents) {
    contents.setObjectNilHandled(2, "a");
    throw std::runtime_error("on second thoughts");
  };
  EXPECT_THROW(defaults->transaction(changeAndThrow), std::runtime_error);
  EXPECT_THROW(defaults->transaction([](Value& contents) { contents = "no dictionary"; }), zn::Exception);
  EXPECT_EQ(defaults->objectForKey("a"), Value(1));
  defaults->transaction([](Value& contents) { contents.setObjectNilHandled(contents["a"].integer() + 1, "a"); });
  EXPECT_EQ(onDisk("throws"), Value::dictionary({{"a", 2}})) << "the locks are free again";
}

TEST_F(UserDefaults, AnUnreadableStoreCountsAsEmptyAndIsKeptAside) {
  const auto defaults = NSUserDefaults::initWithSuiteName("broken");
  const std::string path = pathOf("broken");
  std::ofstream(path) << "bplist00 and then nonsense";
  EXPECT_TRUE(defaults->objectForKey("key").isNil());
  defaults->removeObjectForKey("key");
  EXPECT_FALSE(zn::fileExistsAtPath(path + ".unreadable")) << "nothing replaced it yet";
  defaults->setObject(1, "key");
  EXPECT_EQ(onDisk("broken"), Value::dictionary({{"key", 1}}));
  EXPECT_EQ(zn::readFile(path + ".unreadable")->size(), 26u);
  const auto lines = log().take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_TRUE(lines[0].ends_with("it is kept as " + path + ".unreadable")) << lines[0];
}

TEST_F(UserDefaults, WhatCannotBeWrittenStaysVisibleAndIsWrittenLater) {
  const auto defaults = NSUserDefaults::initWithSuiteName("full");
  writeFromOutside("full", Value::dictionary({{"old", 1}, {"gone", 1}}));
  {
    const zn::test::FileSizeLimit limit(10);
    defaults->setObject("x", "new");
    defaults->removeObjectForKey("gone");
    EXPECT_FALSE(defaults->synchronize());
    const std::string line =
        "cannot write " + pathOf("full") + ": File too large; changes of these user defaults stay in memory";
    EXPECT_EQ(log().take(), std::vector{line}) << "once for all failures in a row";
  }
  EXPECT_EQ(defaults->objectForKey("new"), Value("x"));
  EXPECT_TRUE(defaults->objectForKey("gone").isNil());

  // Another process changes the file meanwhile: its keys count, ours still go on top.
  writeFromOutside("full", Value::dictionary({{"old", 2}, {"gone", 2}, {"theirs", true}}));
  EXPECT_EQ(defaults->objectForKey("old"), Value(2));
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(onDisk("full"), Value::dictionary({{"old", 2}, {"new", "x"}, {"theirs", true}}));
  {
    const zn::test::FileSizeLimit limit(10);
    defaults->setObject("y", "new");
    EXPECT_EQ(log().take().size(), 1u) << "a new failure is reported again";
  }
  defaults->setObject(3, "old");
  EXPECT_EQ(onDisk("full"), Value::dictionary({{"old", 3}, {"new", "y"}, {"theirs", true}}));
}

TEST_F(UserDefaults, AListGrowsAtItsEndAndReadsAsWrittenAtOnce) {
  const auto defaults = NSUserDefaults::initWithSuiteName("list");
  const Value others =
      Value::dictionary({{"zone", Value::array({1.5, true, zn::Date{86399}, Value::data({1, 2, 3, 4})})},
                         {"app-2", Value::dictionary({{"list", Value::array({"theirs"})}})}});
  std::string error;
  for (const Value& before : {others, Value::dictionary()}) {
    writeFromOutside("list", before);
    Value expected = Value::array();
    for (const Value& element :
         {Value::dictionary({{"<&>", "a & b <c> ]]> \r\n\t\xC3\xA9\xF0\x9F\x98\x80"}, {"none", Value::null()}}),
          Value::array({1, 2.5e-7, 1.0, INT64_MIN, false, "", zn::Date{0.25}, zn::Date{-1e300}}),
          Value("a control \x01 character, which XML cannot hold"), Value("last")}) {
      ASSERT_TRUE(defaults->tryAppend(element, {"app-1", "list"}, error)) << error;
      expected.append(zn::parsePropertyList(zn::binaryPropertyList(element)).value());
      EXPECT_EQ(onDisk("list")["app-1"]["list"], expected);
      EXPECT_EQ(defaults->objectForKey("app-1")["list"], expected);
      EXPECT_EQ(onDisk("list")["app-2"], before["app-2"]);
    }
    ASSERT_TRUE(defaults->tryAppend("mine", {"app-2", "list"}, error)) << "another list takes its turn";
    EXPECT_EQ(onDisk("list")["app-2"]["list"].elements().back(), Value("mine"));
    EXPECT_EQ(onDisk("list")["app-1"]["list"], expected);
  }
  Value deep = Value::array();
  for (int i = 0; i < Value::maximumReadDepth - 2; ++i) deep = Value::array({deep});
  EXPECT_THROW(defaults->tryAppend(deep, {"app-1", "list"}, error), zn::Exception) << "it could not be read again";
}

TEST_F(UserDefaults, AnInterruptedAppendIsFinishedAndAFailedOneLeavesNothing) {
  const auto defaults = NSUserDefaults::initWithSuiteName("cut");
  const std::string path = pathOf("cut");
  const Value element(std::string(100, 'x'));
  std::string error;
  const auto killInAppend = [&](std::uintmax_t size) {
    const pid_t child = fork();
    if (child == 0) {
      const zn::test::FileSizeLimit limit(size);
      signal(SIGXFSZ, SIG_DFL);
      defaults->tryAppend(element, {"list"}, error);
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status));
  };
  for (int count = 0; count < 2; ++count) ASSERT_TRUE(defaults->tryAppend(element, {"list"}, error));
  Value expected = Value::array({element, element});
  for (const rlim_t room : {1, 110}) {
    const auto size = std::filesystem::file_size(path);
    {
      const zn::test::FileSizeLimit limit(size + room);
      EXPECT_FALSE(defaults->tryAppend(element, {"list"}, error));
      EXPECT_EQ(error, "cannot write " + path + ": File too large");
    }
    EXPECT_EQ(onDisk("cut")["list"], expected);
    killInAppend(size + room);
    EXPECT_EQ(onDisk("cut"), zn::nil) << "the file is cut off in the middle of an element";
    expected.append(element);
    EXPECT_EQ(defaults->objectForKey("list"), expected);
  }
  EXPECT_TRUE(log().take().empty());

  killInAppend(std::filesystem::file_size(path) + 30);
  const zn::Data other(std::filesystem::file_size(path), 'x');
  ASSERT_TRUE(zn::replaceFile(path, other));
  EXPECT_EQ(defaults->objectForKey("list"), zn::nil);
  EXPECT_EQ(zn::readFile(path), other) << "another file took its place";
}

}  // namespace
