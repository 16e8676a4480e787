#include "ZNPlatform/Runtime/Runtime.h"

#include <cxxabi.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <map>
#include <set>

#include "ZNPlatform/Foundation/NeverDestroyed.h"

namespace zn {

namespace {

/// Names live for the process, so selectors may point at them.
const std::string* interned(std::string_view name) {
  static Mutex mutex;
  static NeverDestroyed<std::set<std::string, std::less<>>> names;
  const Lock lock(mutex);
  const auto found = names->find(name);
  return found != names->end() ? &*found : &*names->emplace(name).first;
}

/// All classes, or all protocols, by name.
template <class T>
class Registry {
 public:
  static Registry& all() {
    static NeverDestroyed<Registry> registry;
    return *registry;
  }
  T& add(std::unique_ptr<T> made, const char* what) {
    const Lock lock(mutex_);
    const auto [place, isNew] = byName_.try_emplace(made->name());
    if (!isNew) throw Exception(std::string("there is a ") + what + " " + made->name() + " already");
    place->second = std::move(made);
    return *place->second;
  }
  T* named(std::string_view name) {
    const Lock lock(mutex_);
    const auto found = byName_.find(name);
    return found == byName_.end() ? nullptr : found->second.get();
  }

 private:
  Mutex mutex_;
  std::map<std::string, std::unique_ptr<T>, std::less<>> byName_ ZN_GUARDED_BY(mutex_);
};

std::atomic<std::uint64_t> version{0};

/// Takes whatever it is called with, so that there is one for all.
class MissingMethod final : public Method {
 public:
  MissingMethod() : Method(nullptr, typeid(MissingMethod)) {}
};

std::string readableType(std::type_index type) {
  int status = 0;
  const std::unique_ptr<char, decltype(&std::free)> name(abi::__cxa_demangle(type.name(), nullptr, nullptr, &status),
                                                         &std::free);
  return status == 0 ? name.get() : type.name();
}

}  // namespace

Selector::Selector(std::string_view name) : name_(name.empty() ? nullptr : interned(name)) {}

const std::string& Selector::name() const {
  static const NeverDestroyed<std::string> none;
  return name_ ? *name_ : *none;
}

bool Object::isKindOfClass(const Class& other) const { return isa().isSubclassOf(other); }
bool Object::respondsToSelector(Selector selector) const { return isa().instanceMethod(selector) != nullptr; }
bool Object::conformsToProtocol(std::string_view protocol) const { return isa().conformsToProtocol(protocol); }

const MethodPtr& Method::missing() {
  static const NeverDestroyed<MethodPtr> one(std::make_shared<const MissingMethod>());
  return *one;
}

MethodPtr Method::bound(const Object&, Selector) const { return shared_from_this(); }

bool Method::takes(const Object& receiver) const {
  return !receiverClass_ || receiver.isa().isSubclassOf(*receiverClass_);
}

void Method::check(const Object& receiver, Selector selector, std::type_index signature) const {
  if (signature == signature_ && takes(receiver)) return;
  const std::string call = receiver.isa().name() + " " + selector.name();
  if (signature_ == typeid(MissingMethod)) throw UnrecognizedSelector(call + ": the selector is not recognized");
  if (signature != signature_) {
    throw MethodMismatch(call + ": called as " + readableType(signature) + ", implemented as " +
                         readableType(signature_));
  }
  throw MethodMismatch(call + ": the implementation is for objects of " + receiverClass_->name());
}

const Protocol* Protocol::define(std::string name, std::vector<MethodDescription> methods) {
  return &Registry<Protocol>::all().add(std::unique_ptr<Protocol>(new Protocol(std::move(name), std::move(methods))),
                                        "protocol");
}

const Protocol* Protocol::named(std::string_view name) { return Registry<Protocol>::all().named(name); }

const MethodDescription* Protocol::methodDescription(Selector selector, bool isRequired) const {
  for (const MethodDescription& each : methods_) {
    if (each.selector == selector && each.isRequired == isRequired) return &each;
  }
  return nullptr;
}

Class::Class(Kind kind, std::string name, Class* superclass, std::vector<std::string> protocols)
    : name_(std::move(name)),
      superclass_(superclass),
      protocols_(std::move(protocols)),
      metaclass_(kind == Kind::meta
                     ? nullptr
                     : new Class(Kind::meta, name_, superclass ? superclass->metaclass_.get() : nullptr, {})) {}

Class* Class::define(std::string name, const Class* superclass, std::vector<std::string> protocols) {
  // No class is const: all are made here. One is handed out as const where nobody shall change its table by mistake.
  auto* const parent = const_cast<Class*>(superclass);
  return &Registry<Class>::all().add(
      std::unique_ptr<Class>(new Class(Kind::ordinary, std::move(name), parent, std::move(protocols))), "class");
}

Class* Class::named(std::string_view name) { return Registry<Class>::all().named(name); }

const Class& Class::isa() const { return metaclass_ ? *metaclass_ : *this; }

bool Class::isSubclassOf(const Class& other) const {
  for (const Class* each = this; each; each = each->superclass_) {
    if (each == &other) return true;
  }
  return false;
}

bool Class::conformsToProtocol(std::string_view protocol) const {
  for (const Class* each = this; each; each = each->superclass_) {
    if (std::find(each->protocols_.begin(), each->protocols_.end(), protocol) != each->protocols_.end()) return true;
  }
  return false;
}

bool Class::addMethod(Selector selector, MethodPtr method, std::optional<std::type_index> signature) {
  if (!method) throw Exception("no implementation given for " + name_ + " " + selector.name());
  if (signature && method->signature() != *signature) return false;
  const Lock lock(mutex_);
  for (const auto& [known, implementation] : methods_) {
    if (known == selector) return false;
  }
  methods_.emplace_back(selector, std::move(method));
  implementationsChanged();
  return true;
}

template <class Take>
void Class::find(Selector selector, const Take& take) const {
  for (const Class* each = this; each; each = each->superclass_) {
    const Lock lock(each->mutex_);
    for (const auto& [known, implementation] : each->methods_) {
      if (known == selector) return take(*each, implementation);
    }
  }
}

MethodPtr Class::instanceMethod(Selector selector) const {
  MethodPtr found;
  find(selector, [&](const Class&, const MethodPtr& implementation) { found = implementation; });
  return found;
}

const Class* Class::definingClass(Selector selector) const {
  const Class* found = nullptr;
  find(selector, [&](const Class& defining, const MethodPtr&) { found = &defining; });
  return found;
}

MethodPtr Class::methodImplementation(Selector selector) const {
  MethodPtr found = instanceMethod(selector);
  return found ? found : Method::missing();
}

MethodPtr Class::replaceMethod(Selector selector, MethodPtr method) {
  if (!method) throw Exception("no implementation given for " + name_ + " " + selector.name());
  for (Class* each = this; each; each = each->superclass_) {
    const Lock lock(each->mutex_);
    for (auto& [known, implementation] : each->methods_) {
      if (known != selector) continue;
      implementation.swap(method);
      implementationsChanged();
      return method;
    }
  }
  return nullptr;
}

std::uint64_t implementationsVersion() { return version.load(); }
void implementationsChanged() { ++version; }

MethodPtr boundImplementation(const Object& receiver, Selector selector) {
  while (true) {
    // The table and what the implementation found there looks up may change in between; then both are read again.
    const std::uint64_t before = implementationsVersion();
    const MethodPtr found = receiver.isa().instanceMethod(selector);
    const MethodPtr bound = found ? found->bound(receiver, selector) : nullptr;
    if (implementationsVersion() == before) return bound;
  }
}

}  // namespace zn
