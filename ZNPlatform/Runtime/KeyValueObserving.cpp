#include "ZNPlatform/Runtime/KeyValueObserving.h"

#include <algorithm>
#include <atomic>

#include "ZNPlatform/Device.h"

namespace zn {

struct KeyValueObservers::Registration {
  std::weak_ptr<Object> observer;
  const Object* identity;  // also while the observer ends
  std::string keyPath;
  unsigned options;
  const void* context;
  std::atomic<bool> removed{false};

  bool isFor(const Object& other, const std::string& path, const void* otherContext) const {
    return identity == &other && keyPath == path && context == otherContext;
  }
};

KeyValueObservers::KeyValueObservers() : list_(std::make_shared<Registrations>()) {}
KeyValueObservers::~KeyValueObservers() = default;

void KeyValueObservers::add(const std::shared_ptr<Object>& observer, const std::string& keyPath, unsigned options,
                            const void* context) {
  if (!observer) throw Exception("no observer given for " + keyPath);
  const auto added = std::make_shared<Registration>();
  added->observer = observer;
  added->identity = observer.get();
  added->keyPath = keyPath;
  added->options = options;
  added->context = context;
  const Lock lock(mutex_);
  const auto next = std::make_shared<Registrations>(*list_);
  next->push_back(added);
  list_ = next;
}

void KeyValueObservers::remove(const Object& observer, const std::string& keyPath, const void* context) {
  const Lock lock(mutex_);
  const auto next = std::make_shared<Registrations>(*list_);
  const auto found = std::find_if(next->rbegin(), next->rend(),
                                  [&](const auto& each) { return each->isFor(observer, keyPath, context); });
  if (found == next->rend()) throw Exception("an observer of " + keyPath + " cannot be removed: it is not registered");
  (*found)->removed.store(true);
  next->erase(std::next(found).base());
  list_ = next;
}

void KeyValueObservers::tell(const std::shared_ptr<Object>& object, const std::string& keyPath,
                             const std::shared_ptr<Object>& oldValue, const std::shared_ptr<Object>& newValue) const {
  std::shared_ptr<const Registrations> list;
  {
    const Lock lock(mutex_);
    list = list_;
  }
  for (const auto& each : *list) {
    const auto observer = each->observer.lock();
    if (!observer || each->removed.load() || each->keyPath != keyPath) continue;
    KeyValueChange change;
    if (each->options & NSKeyValueObservingOptionOld) change.oldValue = oldValue;
    if (each->options & NSKeyValueObservingOptionNew) change.newValue = newValue;
    stopExceptions([&] { observer->observeValueForKeyPath(keyPath, object, change, each->context); },
                   [&] {
                     Device::current().systemLog->diagnostic("an observer of " + keyPath +
                                                             " raised an exception: " + currentExceptionText());
                   });
  }
}

// What objects do that let nothing be observed.

void Object::addObserver(const std::shared_ptr<Object>&, const std::string& keyPath, unsigned, const void*) {
  throw Exception(isa().name() + " has no property " + keyPath + " that can be observed");
}

void Object::removeObserver(const Object&, const std::string& keyPath, const void*) {
  throw Exception(isa().name() + " has no property " + keyPath + " that can be observed");
}

void Object::observeValueForKeyPath(const std::string& keyPath, const std::shared_ptr<Object>&, const KeyValueChange&,
                                    const void*) {
  Device::current().systemLog->diagnostic(isa().name() + " was told of a change of " + keyPath +
                                          " that it does not handle");
}

}  // namespace zn
