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

/// Implementations that do not look at their receiver, so they take any: one that a proxy puts into another class runs
/// there too.
template <class... A>
MethodPtr shown(const Operation& operation) {
  return Method::makeForAnyObject<void, A...>([operation](Object&, Selector, const A&...) { operation.begin(); });
}

/// With a completion as the last argument, which gets `result`.
template <class... A, class... Result>
MethodPtr completed(const Operation& operation, Result... result) {
  using Completion = std::function<void(Result...)>;
  return Method::makeForAnyObject<void, A..., Completion>(
      [operation, result...](Object&, Selector, const A&..., const Completion& completion) {
        operation.begin();
        if (completion) completion(result...);
      });
}

/// The selector's signature is the platform's where it is one of a delegate's.
MethodPtr methodFor(const std::string& selector, const Operation& operation) {
  using Center = std::shared_ptr<UNUserNotificationCenter>;
  using Application = std::shared_ptr<UIApplication>;
  constexpr unsigned kAll = UNOptionBadge | UNOptionSound | UNOptionAlert;
  if (selector == kSelectorDidReceiveNotificationResponse) return completed<Center, UNNotificationResponse>(operation);
  if (selector == kSelectorWillPresentNotification) return completed<Center, UNNotification>(operation, kAll);
  if (selector == kSelectorDidReceiveRemoteNotificationFetch) return completed<Application, Value>(operation, 0u);
  if (selector == kSelectorDidReceiveRemoteNotification) return shown<Application, Value>(operation);
  if (selector == kSelectorDidRegisterForRemoteNotifications) return shown<Application, Data>(operation);
  if (selector == kSelectorDidFailToRegisterForRemoteNotifications) return shown<Application, std::string>(operation);
  return shown<>(operation);
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
