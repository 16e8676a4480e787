#include "ZNPlatform/Runtime/Runtime.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "Tests/Support/PlainDevice.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"

namespace {

using zn::Selector;
using Strings = std::vector<std::string>;

class Animal : public zn::Object {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine = zn::ClassBuilder<Animal>("Animal")
                                             .conformsTo("Living")
                                             .implements("name", &Animal::name)
                                             .implements("say:times:", &Animal::say)
                                             .build();
    return *mine;
  }
  std::string name() { return "animal"; }
  std::string say(const std::string& text, int times) { return text + "*" + std::to_string(times); }
};

class Dog : public Animal {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine =
        zn::ClassBuilder<Dog>("Dog", &Animal().isa()).conformsTo("Barking").implements("name", &Dog::dogName).build();
    return *mine;
  }
  std::string dogName() { return "dog"; }
};

class Stone : public zn::Object {
 public:
  const zn::Class& isa() const override {
    static const zn::Class& mine = *zn::Class::define("Stone");
    return mine;
  }
};

template <class R, class... A>
R send(zn::Object& receiver, const char* selector, const A&... arguments) {
  return receiver.isa().instanceMethod(Selector(selector))->call<R>(receiver, Selector(selector), arguments...);
}

template <class Body>
std::string mismatchOf(const Body& body) {
  try {
    body();
  } catch (const zn::MethodMismatch& mismatch) {
    return mismatch.what();
  }
  return "no mismatch";
}

TEST(Runtime, ClassesInheritImplementationsAndProtocols) {
  Dog dog;
  EXPECT_EQ(send<std::string>(dog, "name"), "dog");
  EXPECT_EQ(send<std::string>(dog, "say:times:", std::string("wuff"), 2), "wuff*2");
  EXPECT_TRUE(dog.isKindOfClass(Animal().isa()) && !Animal().isKindOfClass(dog.isa()));
  EXPECT_TRUE(dog.conformsToProtocol("Living") && !Animal().conformsToProtocol("Barking"));
  EXPECT_THROW(zn::Class::define("Dog"), zn::Exception);
}

TEST(Runtime, ACallThatDoesNotFitIsAnErrorThatSaysWhy) {
  Dog dog;
  Animal animal;
  Stone stone;
  const std::string wuff = "wuff";
  const auto dogName = dog.isa().instanceMethod(Selector("name"));
  EXPECT_TRUE(
      mismatchOf([&] { send<std::string>(dog, "say:times:", wuff, wuff); }).starts_with("Dog say:times:: called as "));
  EXPECT_NE(mismatchOf([&] { send<void>(dog, "say:times:", wuff, 2); }), "no mismatch");
  EXPECT_EQ(mismatchOf([&] { dogName->call<std::string>(stone, Selector("name")); }),
            "Stone name: the implementation is for objects of Dog");
  EXPECT_NE(mismatchOf([&] { dogName->call<std::string>(animal, Selector("name")); }), "no mismatch")
      << "a parent's object is not a child's";
}

TEST(Runtime, MethodsAreAddedOncePerClass) {
  Dog dog;
  zn::Class& made = *zn::Class::define("Made");
  const auto method = dog.isa().instanceMethod(Selector("name"));
  EXPECT_TRUE(made.addMethod(Selector("added"), method));
  EXPECT_FALSE(made.addMethod(Selector("added"), Animal().isa().instanceMethod(Selector("name"))));
  EXPECT_EQ(made.instanceMethod(Selector("added")), method);
  EXPECT_THROW(made.addMethod(Selector("none"), nullptr), zn::Exception);
}

/// A delegate of the notification centre that counts how often it was called.
class HostDelegate : public zn::Object {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine =
        zn::ClassBuilder<HostDelegate>("HostDelegate")
            .conformsTo(kProtocolUserNotificationCenterDelegate)
            .implements(kSelectorDidReceiveNotificationResponse, &HostDelegate::didRespond)
            .implements(kSelectorWillPresentNotification, &HostDelegate::wrongArguments)
            .build();
    return *mine;
  }
  void didRespond(const std::shared_ptr<UNUserNotificationCenter>&, const UNNotificationResponse&,
                  const std::function<void()>&) {
    ++calls;
  }
  void wrongArguments(int) {}
  int calls = 0;
};

class Delegates : public testing::Test {
 protected:
  zn::test::PlainDevice& device_ = zn::test::PlainDevice::installed();
  const std::shared_ptr<UNUserNotificationCenter> center_ = UNUserNotificationCenter::currentNotificationCenter();
  std::shared_ptr<HostDelegate> host_ = std::make_shared<HostDelegate>();
};

/// Writes down what it is told of the centre's delegate, and does something then.
class Watcher : public Stone {
 public:
  void observeValueForKeyPath(const std::string& keyPath, const std::shared_ptr<zn::Object>&,
                              const zn::KeyValueChange& change, const void* context) override {
    const auto text = [](const auto& value) {
      return !value ? "-" : *value ? (*value)->isa().name() : std::string("null");
    };
    told.push_back(keyPath + " " + text(change.oldValue) + " " + text(change.newValue));
    if (context) throw std::runtime_error("an observer's own trouble");
    if (then) std::exchange(then, nullptr)();
  }
  Strings told;
  std::function<void()> then;
};

TEST_F(Delegates, ObserversAreToldBeforeResponsesGoToANewDelegate) {
  const auto watcher = std::make_shared<Watcher>();
  const auto second = std::make_shared<Watcher>();
  const unsigned both = NSKeyValueObservingOptionNew | NSKeyValueObservingOptionOld;
  center_->setDelegate(host_);
  center_->addObserver(watcher, "delegate", both, nullptr);
  center_->addObserver(second, "delegate", NSKeyValueObservingOptionNew, nullptr);
  const auto stone = std::make_shared<Stone>();
  watcher->then = [&] {
    center_->setDelegate(stone);
    EXPECT_EQ(center_->delegate(), stone) << "the newest";
    center_->deliverResponse({}, [] {});
  };
  center_->setDelegate(nullptr);
  EXPECT_EQ(host_->calls, 1) << "until all observers were told, responses go where they went";
  EXPECT_EQ(watcher->told, (Strings{"delegate HostDelegate null", "delegate null Stone"}));
  EXPECT_EQ(second->told, (Strings{"delegate - null", "delegate - Stone"})) << "in order, also for those after it";
  EXPECT_EQ(center_->deliverResponse({}, [] {}), zn::Delivery::nobody);

  center_->removeObserver(*watcher, "delegate", nullptr);
  center_->addObserver(watcher, "delegate", 0, &both);
  center_->setDelegate(host_);
  EXPECT_EQ(watcher->told.back(), "delegate - -");
  EXPECT_EQ(second->told.size(), 3u);
  EXPECT_EQ(device_.log().take().size(), 1u) << "an observer's exception is reported";
  center_->deliverWillPresent({}, [](unsigned) {});
  EXPECT_TRUE(device_.log().take().at(0).starts_with("HostDelegate userNotificationCenter:willPresent"))
      << "so is a callback that can never work";
  EXPECT_THROW(center_->removeObserver(*watcher, "delegate", nullptr), zn::Exception) << "not this context";
  EXPECT_THROW(center_->addObserver(watcher, "badge", both, nullptr), zn::Exception);
  center_->removeObserver(*watcher, "delegate", &both);

  center_->addObserver(watcher, "delegate", 0, nullptr);
  const auto last = std::make_shared<Watcher>();
  center_->addObserver(last, "delegate", 0, nullptr);
  watcher->then = [&] { center_->removeObserver(*last, "delegate", nullptr); };
  center_->setDelegate(nullptr);
  EXPECT_TRUE(last->told.empty()) << "it was removed while others were told";
}

}  // namespace
