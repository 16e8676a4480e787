#include "ZNPlatform/Foundation/NSNotificationCenter.h"

#include <atomic>
#include <utility>
#include <vector>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Foundation/SameOwner_p.h"

namespace {

struct Registration {
  std::weak_ptr<void> owner;
  std::string name;  // empty: every notification
  NSNotificationCenter::Observer observer;
  std::atomic<bool> removed{false};
};

using Registrations = std::vector<std::shared_ptr<Registration>>;

void callObserver(Registration& registration, const NSNotification& notification) {
  const std::shared_ptr<void> owner = registration.owner.lock();
  // An observer that was removed after this post began is not called any more.
  if (!owner || registration.removed.load()) return;
  zn::stopExceptions(
      [&] { registration.observer(notification); },
      [&] {
        zn::Device::current().systemLog->diagnostic("an observer of " + notification.name +
                                                    " raised an exception: " + zn::currentExceptionText());
      });
}

}  // namespace

struct NSNotificationCenter::State {
  zn::Mutex mutex;
  /// Never changed, only replaced, so that a post walks it without the lock.
  std::shared_ptr<const Registrations> list ZN_GUARDED_BY(mutex) = std::make_shared<Registrations>();

  /// Replaces the list by one without the registrations of `gone` and of owners that ended, and with `added`, if any.
  void replaceList(const std::shared_ptr<void>& gone, const std::shared_ptr<Registration>& added) {
    const auto next = std::make_shared<Registrations>();
    std::shared_ptr<const Registrations> previous;  // ends after the lock: observers may own anything
    const zn::Lock lock(mutex);
    next->reserve(list->size() + 1);
    for (const auto& each : *list) {
      const bool removed = gone && zn::sameOwner(each->owner, gone);
      if (removed) each->removed.store(true);
      if (!removed && !each->owner.expired()) next->push_back(each);
    }
    if (added) next->push_back(added);
    previous = std::exchange(list, next);
  }
};

NSNotificationCenter::NSNotificationCenter() : state_(std::make_unique<State>()) {}
NSNotificationCenter::~NSNotificationCenter() = default;

std::shared_ptr<NSNotificationCenter> NSNotificationCenter::defaultCenter() {
  static const zn::NeverDestroyed shared(std::make_shared<NSNotificationCenter>());
  return *shared;
}

void NSNotificationCenter::addObserver(std::weak_ptr<void> owner, std::string name, Observer observer) {
  if (!observer) return;
  const auto added = std::make_shared<Registration>();
  added->owner = std::move(owner);
  added->name = std::move(name);
  added->observer = std::move(observer);
  state_->replaceList(nullptr, added);
}

void NSNotificationCenter::removeObserver(const std::shared_ptr<void>& owner) {
  if (owner) state_->replaceList(owner, nullptr);
}

void NSNotificationCenter::postNotificationName(const std::string& name, const zn::Value& userInfo) {
  std::shared_ptr<const Registrations> list;
  {
    const zn::Lock lock(state_->mutex);
    list = state_->list;
  }
  const NSNotification notification{name, userInfo};
  for (const auto& each : *list) {
    if (each->name.empty() || each->name == name) callObserver(*each, notification);
  }
}
