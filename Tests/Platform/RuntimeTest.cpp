#include "ZNPlatform/Runtime/Runtime.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <utility>

#include "Tests/Support/PlainDevice.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/UIKit/UIApplication.h"
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

TEST(Runtime, EqualNamesAreOneSelector) {
  EXPECT_EQ(Selector("a:b:"), zn::NSSelectorFromString(std::string("a:") + "b:"));
  EXPECT_NE(Selector("a:b:"), Selector("a:b"));
  EXPECT_EQ(zn::NSStringFromSelector(Selector("a:b:")), "a:b:");
  EXPECT_FALSE(Selector(""));
  EXPECT_EQ(Selector().name(), "");
}

TEST(Runtime, ClassesInheritImplementationsAndProtocols) {
  Dog dog;
  Stone stone;
  EXPECT_EQ(send<std::string>(dog, "name"), "dog");
  EXPECT_EQ(send<std::string>(dog, "say:times:", std::string("wuff"), 2), "wuff*2");
  EXPECT_EQ(zn::Class::named("Dog"), &dog.isa());
  EXPECT_EQ(zn::Class::named("Cat"), nullptr);
  EXPECT_TRUE(dog.isKindOfClass(*zn::Class::named("Animal")));
  EXPECT_FALSE(Animal().isKindOfClass(dog.isa()));
  EXPECT_TRUE(dog.conformsToProtocol("Living") && dog.conformsToProtocol("Barking"));
  EXPECT_FALSE(Animal().conformsToProtocol("Barking"));
  EXPECT_TRUE(dog.respondsToSelector(Selector("say:times:")));
  EXPECT_FALSE(stone.respondsToSelector(Selector("name")));
  EXPECT_EQ(dog.isa().instanceMethod(Selector("say:times:")), Animal().isa().instanceMethod(Selector("say:times:")));
  EXPECT_THROW(zn::Class::define("Dog"), zn::Exception);
}

TEST(Runtime, ACallThatDoesNotFitIsAnErrorThatSaysWhy) {
  Dog dog;
  Stone stone;
  const auto wrongArgument =
      mismatchOf([&] { send<std::string>(dog, "say:times:", std::string("wuff"), std::string("twice")); });
  EXPECT_TRUE(wrongArgument.starts_with("Dog say:times:: called as ")) << wrongArgument;
  EXPECT_NE(wrongArgument.find("int"), std::string::npos) << wrongArgument;
  EXPECT_NE(mismatchOf([&] { send<void>(dog, "say:times:", std::string("wuff"), 2); }), "no mismatch");
  EXPECT_NE(mismatchOf([&] { send<std::string>(dog, "name", 1); }), "no mismatch");

  const auto dogName = dog.isa().instanceMethod(Selector("name"));
  EXPECT_EQ(mismatchOf([&] { dogName->call<std::string>(stone, Selector("name")); }),
            "Stone name: the implementation is for objects of Dog");
  Animal animal;
  EXPECT_NE(mismatchOf([&] { dogName->call<std::string>(animal, Selector("name")); }), "no mismatch")
      << "a parent's object is not a child's";
}

TEST(Runtime, MethodsAreAddedOncePerClassWhileOthersLookThemUp) {
  zn::Class& parent = *zn::Class::define("Parent");
  zn::Class& child = *zn::Class::define("Child", &parent);
  const Selector selector("added");
  const auto returning = [&](int number) {
    return zn::Method::make<int>(
        parent, std::function<int(zn::Object&, Selector)>([number](zn::Object&, Selector) { return number; }));
  };
  const auto first = returning(1);
  const auto second = returning(2);
  std::thread reader([&] {
    while (child.instanceMethod(selector) != second) std::this_thread::yield();
  });
  EXPECT_TRUE(parent.addMethod(selector, first));
  EXPECT_FALSE(parent.addMethod(selector, second));
  EXPECT_EQ(child.instanceMethod(selector), first);
  EXPECT_TRUE(child.addMethod(selector, second)) << "a parent's does not stand in the way";
  reader.join();
  EXPECT_EQ(parent.instanceMethod(selector), first);
  EXPECT_THROW(parent.addMethod(Selector("none"), nullptr), zn::Exception);
}

TEST(Runtime, AnImplementationIsReplacedWhereItIsDefined) {
  zn::Class& parent = *zn::Class::define("Replaced");
  zn::Class& child = *zn::Class::define("ReplacedChild", &parent);
  const auto any = [] { return zn::Method::makeForAnyObject<int>([](zn::Object&, Selector) { return 1; }); };
  const Selector selector("act");
  EXPECT_EQ(child.replaceMethod(selector, any()), nullptr) << "nothing to replace, and nothing is added";
  EXPECT_EQ(child.instanceMethod(selector), nullptr);
  EXPECT_EQ(child.methodImplementation(selector), zn::Method::missing());
  const auto first = any();
  parent.addMethod(selector, first);
  const auto second = any();
  EXPECT_EQ(child.replaceMethod(selector, second), first);
  EXPECT_EQ(parent.instanceMethod(selector), second);
  EXPECT_EQ(child.definingClass(selector), &parent);
  EXPECT_EQ(parent.replaceMethod(selector, zn::Method::missing()), second);

  Dog dog;  // whatever it is called with, the missing one is no implementation; the class responds to it all the same
  zn::Class::named(dog.isa().name())->addMethod(selector, zn::Method::missing());
  EXPECT_TRUE(dog.respondsToSelector(selector));
  EXPECT_THROW((send<std::string>(dog, "act", 1)), zn::UnrecognizedSelector);
}

TEST(Runtime, AProtocolSaysWhichSignatureFits) {
  const auto& protocol = *zn::Protocol::define("Acting", {zn::optionalMethod<void, int>("act:")});
  EXPECT_EQ(zn::Protocol::named("Acting"), &protocol);
  EXPECT_EQ(protocol.methodDescription(Selector("act:"), true), nullptr);
  const auto* described = protocol.methodDescription(Selector("act:"), false);
  ASSERT_TRUE(described);
  zn::Class& actor = *zn::Class::define("Actor");
  const auto wrong = zn::Method::makeForAnyObject<void>([](zn::Object&, Selector) {});
  const auto right = zn::Method::makeForAnyObject<void, int>([](zn::Object&, Selector, int) {});
  EXPECT_FALSE(actor.addMethod(Selector("act:"), wrong, described->signature));
  EXPECT_TRUE(actor.addMethod(Selector("act:"), right, described->signature));
}

/// Has a property that can be observed, and an operation of the class.
class Bell : public zn::Object {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine =
        zn::ClassBuilder<Bell>("Bell").implementsClassOperation("material", &Bell::material).build();
    return *mine;
  }
  static std::string material() { return "bronze"; }
};

TEST(Runtime, AClassAnswersItsOwnOperations) {
  Bell bell;
  zn::Class& child = *zn::Class::define("SmallBell", &bell.isa());
  EXPECT_EQ(send<std::string>(child, "material"), "bronze") << "inherited";
  EXPECT_FALSE(bell.respondsToSelector(Selector("material")));
  EXPECT_TRUE(child.respondsToSelector(Selector("material")));
}

/// A delegate of application and notification centre that writes down how it was called.
class HostDelegate : public zn::Object {
 public:
  const zn::Class& isa() const override {
    static const zn::Class* const mine =
        zn::ClassBuilder<HostDelegate>("HostDelegate")
            .conformsTo(kProtocolUserNotificationCenterDelegate)
            .implements(kSelectorDidReceiveRemoteNotification, &HostDelegate::didReceive)
            .implements(kSelectorDidReceiveRemoteNotificationFetch, &HostDelegate::didReceiveFetching)
            .implements(kSelectorDidRegisterForRemoteNotifications, &HostDelegate::didRegister)
            .implements(kSelectorDidFailToRegisterForRemoteNotifications, &HostDelegate::wrongArguments)
            .implements(kSelectorDidReceiveNotificationResponse, &HostDelegate::didRespond)
            .implements(kSelectorWillPresentNotification, &HostDelegate::willPresent)
            .build();
    return *mine;
  }
  void didReceive(const std::shared_ptr<UIApplication>& application, const zn::Value& payload) {
    calls.push_back("payload " + std::string(payload.validObjectForKey("id").string()));
    application->setDelegate(nullptr);  // the delegate in use stays alive, and no lock is held
  }
  void didReceiveFetching(std::shared_ptr<UIApplication>, zn::Value, std::function<void(unsigned)> completion) {
    completion(2);
  }
  void didRegister(const std::shared_ptr<UIApplication>&, const zn::Data& token) {
    calls.push_back("token " + std::to_string(token.size()));
    throw std::runtime_error("a host's own trouble");
  }
  void wrongArguments(int) {}
  void didRespond(const std::shared_ptr<UNUserNotificationCenter>&, const UNNotificationResponse& response,
                  const std::function<void()>& completion) {
    calls.push_back("response " + response.actionIdentifier);
    completion();
  }
  void willPresent(const std::shared_ptr<UNUserNotificationCenter>& center, const UNNotification& notification,
                   const std::function<void(unsigned)>& completion) {
    calls.push_back("present " + notification.request.identifier);
    center->setDelegate(nullptr);
    completion(UNOptionAlert | UNOptionSound);
  }
  Strings calls;
};

class Delegates : public testing::Test {
 protected:
  zn::test::PlainDevice& device_ = zn::test::PlainDevice::installed();
  const std::shared_ptr<UIApplication> application_ = UIApplication::sharedApplication();
  const std::shared_ptr<UNUserNotificationCenter> center_ = UNUserNotificationCenter::currentNotificationCenter();
  std::shared_ptr<HostDelegate> host_ = std::make_shared<HostDelegate>();
};

TEST_F(Delegates, TheApplicationCallsWhatItsDelegateImplements) {
  application_->deliverRemoteNotification(zn::Value::dictionary({{"id", "0"}}));  // nobody there
  application_->setDelegate(host_);
  unsigned fetched = 0;
  application_->deliverRemoteNotification({}, [&](unsigned result) { fetched = result; });
  EXPECT_EQ(fetched, 2u);
  EXPECT_NO_THROW(application_->deliverDeviceToken({1, 2, 3}));
  EXPECT_TRUE(device_.log().take().empty()) << "what a host raises is its own affair";
  application_->deliverRemoteNotification(zn::Value::dictionary({{"id", "1"}}));
  EXPECT_EQ(application_->delegate(), nullptr);
  EXPECT_EQ(host_->calls, (Strings{"token 3", "payload 1"}));

  application_->setDelegate(host_);
  application_->deliverRegistrationFailure("no network");
  const auto lines = device_.log().take();
  ASSERT_EQ(lines.size(), 1u) << "a callback that can never work is reported";
  EXPECT_TRUE(lines[0].starts_with("HostDelegate application:didFailToRegister")) << lines[0];

  application_->setDelegate(std::make_shared<Stone>());  // ends at once
  EXPECT_EQ(application_->delegate(), nullptr) << "delegates are held weakly";
}

TEST_F(Delegates, TheNotificationCentreCallsWhatItsDelegateImplements) {
  center_->setDelegate(host_);
  int responded = 0;
  UNNotificationResponse response;
  response.actionIdentifier = UNNotificationDefaultActionIdentifier;
  center_->deliverResponse(response, [&] { ++responded; });
  EXPECT_EQ(responded, 1);
  unsigned options = 0;
  UNNotification notification;
  notification.request.identifier = "n1";
  center_->deliverWillPresent(notification, [&](unsigned chosen) { options = chosen; });
  EXPECT_EQ(options, 6u);
  EXPECT_EQ(host_->calls, (Strings{"response UNNotificationDefaultActionIdentifier", "present n1"}));

  center_->deliverResponse(response, [&] { ++responded; });
  const auto silent = std::make_shared<Stone>();
  center_->setDelegate(silent);
  center_->deliverResponse(response, [&] { ++responded; });
  EXPECT_EQ(responded, 1) << "without an implementation nothing happens";
}

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
  EXPECT_EQ(host_->calls.size(), 1u) << "until all observers were told, responses go where they went";
  EXPECT_EQ(watcher->told, (Strings{"delegate HostDelegate null", "delegate null Stone"}));
  EXPECT_EQ(second->told, (Strings{"delegate - null", "delegate - Stone"})) << "in order, also for those after it";
  EXPECT_EQ(center_->deliverResponse({}, [] {}), zn::Delivery::nobody);

  center_->removeObserver(*watcher, "delegate", nullptr);
  center_->addObserver(watcher, "delegate", 0, &both);
  center_->setDelegate(host_);
  EXPECT_EQ(watcher->told.back(), "delegate - -");
  EXPECT_EQ(second->told.size(), 3u);
  EXPECT_EQ(device_.log().take().size(), 1u) << "an observer's exception is reported";
  EXPECT_THROW(center_->removeObserver(*watcher, "delegate", nullptr), zn::Exception) << "not this context";
  EXPECT_THROW(center_->addObserver(watcher, "badge", both, nullptr), zn::Exception);
  EXPECT_THROW(stone->addObserver(watcher, "delegate", both, nullptr), zn::Exception);
  center_->removeObserver(*watcher, "delegate", &both);
}

TEST_F(Delegates, InterceptorsComeBeforeTheDelegateAndHaveNoSayInTheFetchResult) {
  const auto interceptor = std::make_shared<HostDelegate>();
  const auto list = std::make_shared<UIApplication::Interceptors>();
  for (const auto& each : {interceptor, host_}) list->push_back(each);
  application_->setInterceptors(list);
  EXPECT_EQ(application_->deliverDeviceToken({1}), zn::Delivery::nobody);
  EXPECT_EQ(interceptor->calls, (Strings{"token 1"}));
  EXPECT_EQ(host_->calls, (Strings{"token 1"})) << "although the one before raised an exception";
  EXPECT_EQ(device_.log().take().size(), 2u) << "which is reported";

  Strings results;
  const auto fetched = [&](unsigned result) { results.push_back(std::to_string(result)); };
  application_->deliverRemoteNotification({}, fetched);
  EXPECT_EQ(results, (Strings{"1"})) << "no delegate: nothing was fetched";
  application_->setDelegate(host_);
  application_->deliverRemoteNotification({}, fetched);
  EXPECT_EQ(results, (Strings{"1", "2"}));
}

TEST_F(Delegates, ComingToTheForegroundIsBroadcast) {
  const auto owner = std::make_shared<int>(0);
  int posted = 0;
  NSNotificationCenter::defaultCenter()->addObserver(owner, UIApplicationWillEnterForegroundNotification,
                                                     [&](const NSNotification&) { ++posted; });
  application_->deliverWillEnterForeground();
  EXPECT_EQ(posted, 1);
}

}  // namespace
