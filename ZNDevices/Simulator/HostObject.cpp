#include "ZNDevices/Simulator/HostObject_p.h"

#include <algorithm>

#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"

namespace zn {

namespace {

/// What every operation of a host class does first.
struct Operation {
  EffectSinkPtr effects;
  std::string name;  // CLASS selector
  bool throws = false;

  void begin() const {
    effects->emit("host", name);
    if (throws) throw Exception(name + " raised an exception");
  }
};

template <class Completion, class... Result>
void complete(const Completion& completion, Result... result) {
  if (completion) completion(result...);
}

using Center = std::shared_ptr<UNUserNotificationCenter>;
using Application = std::shared_ptr<UIApplication>;
using Fetch = std::function<void(unsigned)>;

/// The selector's signature is the platform's where it is one of a delegate's. The implementations do not look at the
/// receiver, so they take any: one that a proxy puts into another class runs there too.
MethodPtr methodFor(const std::string& selector, const Operation& operation) {
  if (selector == kSelectorDidReceiveNotificationResponse) {
    return Method::makeForAnyObject<void, Center, UNNotificationResponse, std::function<void()>>(
        [operation](Object&, Selector, const Center&, const UNNotificationResponse&,
                    const std::function<void()>& completion) {
          operation.begin();
          complete(completion);
        });
  }
  if (selector == kSelectorWillPresentNotification) {
    return Method::makeForAnyObject<void, Center, UNNotification, Fetch>(
        [operation](Object&, Selector, const Center&, const UNNotification&, const Fetch& completion) {
          operation.begin();
          complete(completion, UNOptionBadge | UNOptionSound | UNOptionAlert);
        });
  }
  if (selector == kSelectorDidReceiveRemoteNotificationFetch) {
    return Method::makeForAnyObject<void, Application, Value, Fetch>(
        [operation](Object&, Selector, const Application&, const Value&, const Fetch& completion) {
          operation.begin();
          complete(completion, 0u);
        });
  }
  if (selector == kSelectorDidReceiveRemoteNotification) {
    return Method::makeForAnyObject<void, Application, Value>(
        [operation](Object&, Selector, const Application&, const Value&) { operation.begin(); });
  }
  if (selector == kSelectorDidRegisterForRemoteNotifications) {
    return Method::makeForAnyObject<void, Application, Data>(
        [operation](Object&, Selector, const Application&, const Data&) { operation.begin(); });
  }
  if (selector == kSelectorDidFailToRegisterForRemoteNotifications) {
    return Method::makeForAnyObject<void, Application, std::string>(
        [operation](Object&, Selector, const Application&, const std::string&) { operation.begin(); });
  }
  return Method::makeForAnyObject<void>([operation](Object&, Selector) { operation.begin(); });
}

}  // namespace

std::shared_ptr<Object> HostObjects::find(const std::string& className) const {
  const auto found = objects_.find(className);
  return found == objects_.end() ? nullptr : found->second;
}

std::shared_ptr<Object> HostObjects::makeUndescribed(const std::string& className) {
  Class& made = *Class::define(className, nullptr, {kProtocolUserNotificationCenterDelegate});
  undescribed_[className] = &made;
  return objects_[className] = std::make_shared<HostObject>(made);
}

void HostObjects::implement(Class& target, const HostClass& description) {
  for (const std::string& selector : description.implements) {
    const auto& throws = description.throws;
    const bool isThrowing = std::find(throws.begin(), throws.end(), selector) != throws.end();
    const Operation operation{effects_, description.name + " " + selector, isThrowing};
    target.addMethod(Selector(selector), methodFor(selector, operation));
  }
}

std::shared_ptr<Object> HostObjects::make(const HostClass& description) {
  if (const auto first = undescribed_.find(description.name); first != undescribed_.end()) {
    // Parent and protocols were settled when the class was made.
    if (!description.inherits.empty() || !description.conforms) {
      throw Exception("\"" + description.name + "\" is there from the start and can only be given operations");
    }
    implement(*first->second, description);
    undescribed_.erase(first);
  }
  if (auto known = find(description.name)) return known;
  if (description.name.empty()) throw Exception("a class needs a name");
  if (Class::named(description.name)) throw Exception("the class name \"" + description.name + "\" is taken");
  const Class* parent = nullptr;
  if (!description.inherits.empty()) {
    // Only a host class: implementations of other classes would take the object for one of theirs.
    const auto known = find(description.inherits);
    if (!known) throw Exception("there is no host class \"" + description.inherits + "\" to inherit from");
    parent = &known->isa();
  }
  std::vector<std::string> protocols;
  if (description.conforms) protocols.push_back(kProtocolUserNotificationCenterDelegate);
  Class& made = *Class::define(description.name, parent, std::move(protocols));
  implement(made, description);
  return objects_[description.name] = std::make_shared<HostObject>(made);
}

}  // namespace zn
