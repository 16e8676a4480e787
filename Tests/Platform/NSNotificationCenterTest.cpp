#include "ZNPlatform/Foundation/NSNotificationCenter.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "Tests/Support/PlainDevice.h"

namespace {

using Strings = std::vector<std::string>;

class NotificationCenter : public testing::Test {
 protected:
  NSNotificationCenter::Observer adding(const std::string& who) {
    return [this, who](const NSNotification& notification) { calls_.push_back(who + " " + notification.name); };
  }
  Strings calls() { return std::exchange(calls_, {}); }
  static std::shared_ptr<void> newOwner() { return std::make_shared<int>(0); }

  NSNotificationCenter center_;
  Strings calls_;
};

TEST_F(NotificationCenter, OwnersThatEndedOrWereRemovedAreNotCalled) {
  const auto stays = newOwner();
  auto ends = newOwner();
  auto held = std::make_shared<int>(0);
  center_.addObserver(ends, "a", [held](const NSNotification&) { FAIL() << "its owner is gone"; });
  center_.addObserver(stays, "a", adding("stays"));
  center_.addObserver({}, "a", [](const NSNotification&) { FAIL() << "it never had an owner"; });
  ends.reset();
  center_.removeObserver(nullptr);
  center_.removeObserver(newOwner());
  center_.postNotificationName("a");
  EXPECT_EQ(calls(), Strings{"stays a"});
  center_.addObserver(stays, "b", adding("stays"));
  EXPECT_EQ(held.use_count(), 1) << "what ended is let go of";
  center_.removeObserver(stays);
  center_.postNotificationName("a");
  EXPECT_EQ(calls(), Strings{});
}

TEST_F(NotificationCenter, ObserversMayAddRemoveAndPost) {
  const auto owner = newOwner();
  const auto second = newOwner();
  auto self = newOwner();
  center_.addObserver(owner, "a", [&](const NSNotification&) {
    calls_.push_back("changes");
    center_.removeObserver(second);
    center_.addObserver(owner, "a", adding("added"));
    center_.postNotificationName("inner");
  });
  center_.addObserver(second, "a", adding("removed"));
  center_.addObserver(owner, "inner", adding("nested"));
  std::weak_ptr<void> watched = self;
  center_.addObserver(self, "a", [&](const NSNotification&) {
    self.reset();
    calls_.push_back(watched.expired() ? "owner is gone" : "owner lives on");
  });
  center_.postNotificationName("a");
  EXPECT_EQ(calls(), (Strings{"changes", "nested inner", "owner lives on"}));
  EXPECT_TRUE(watched.expired());
}

TEST_F(NotificationCenter, AnObserverThatThrowsIsReportedAndTheOthersAreCalled) {
  zn::test::PlainDevice& device = zn::test::PlainDevice::installed();
  device.log().take();
  const auto owner = newOwner();
  center_.addObserver(owner, "a", [](const NSNotification&) { throw std::runtime_error("no luck"); });
  center_.addObserver(owner, "a", adding("next"));
  center_.postNotificationName("a");
  EXPECT_EQ(calls(), Strings{"next a"});
  EXPECT_EQ(device.log().take(), Strings{"an observer of a raised an exception: no luck"});
}

}  // namespace
