#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeindex>
#include <utility>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Mutex.h"

namespace zn {

class Class;
struct KeyValueChange;

/// The name of an operation, such as "application:didReceiveRemoteNotification:". Equal names are the same selector.
/// Cheap to copy and compare; lives for the process.
class ZN_EXPORT Selector {
 public:
  Selector() = default;
  explicit Selector(std::string_view name);
  const std::string& name() const;  ///< "" for a default-made selector
  explicit operator bool() const { return name_ != nullptr; }
  friend bool operator==(const Selector&, const Selector&) = default;

 private:
  const std::string* name_ = nullptr;  // interned
};

inline Selector NSSelectorFromString(std::string_view name) { return Selector(name); }
inline const std::string& NSStringFromSelector(Selector selector) { return selector.name(); }

/// A call that does not fit its implementation: a receiver of another class, or other argument types.
class ZN_EXPORT MethodMismatch : public Exception {
 public:
  explicit MethodMismatch(std::string reason) : Exception(std::move(reason)) {}
};

/// A call that reached the missing-method implementation.
class ZN_EXPORT UnrecognizedSelector : public Exception {
 public:
  explicit UnrecognizedSelector(std::string reason) : Exception(std::move(reason)) {}
};

/// An object that answers by selector: an application delegate, a notification-centre delegate, a class. Owned by
/// std::shared_ptr, but for classes, which live for the process.
class ZN_EXPORT Object : public std::enable_shared_from_this<Object> {
 public:
  virtual ~Object() = default;
  virtual const Class& isa() const = 0;

  bool isKindOfClass(const Class& other) const;
  bool respondsToSelector(Selector selector) const;  ///< its class has an entry for it, whichever implementation
  bool conformsToProtocol(std::string_view protocol) const;

  // Key-value observation, for classes that let a property be observed; see KeyValueObserving.h.

  /// `addObserver:forKeyPath:options:context:`: from now on the observer, which is held weakly, is told about every
  /// change of the property. Throws Exception where there is no such property to observe.
  virtual void addObserver(const std::shared_ptr<Object>& observer, const std::string& keyPath, unsigned options,
                           const void* context);
  /// `removeObserver:forKeyPath:context:`. Throws Exception where the observer is not registered so.
  virtual void removeObserver(const Object& observer, const std::string& keyPath, const void* context);
  /// `observeValueForKeyPath:ofObject:change:context:`: what observers are told, on the thread that makes the change,
  /// without a lock held. An observer that does not know the context passes it to its base class; here it ends as a
  /// diagnostic.
  virtual void observeValueForKeyPath(const std::string& keyPath, const std::shared_ptr<Object>& object,
                                      const KeyValueChange& change, const void* context);
};

class Method;
using MethodPtr = std::shared_ptr<const Method>;

/// An implementation: what a class does for a selector. It has identity (compare the pointers), knows the class whose
/// objects it takes and its signature, and checks both when it is called: a mismatch throws MethodMismatch.
class ZN_EXPORT Method : public std::enable_shared_from_this<Method> {
 public:
  template <class R, class... A>
  using Body = std::type_identity_t<std::function<R(Object& receiver, Selector, const A&...)>>;
  /// The implementation that another one stands in front of for this receiver; null when there is none.
  using PreviousFor = std::function<MethodPtr(const Object& receiver, Selector)>;

  virtual ~Method() = default;

  /// An implementation for receivers of `receiverClass` (or a subclass). Signatures compare by decayed argument types:
  /// `const std::string&` and `std::string` are the same.
  template <class R, class... A>
  static MethodPtr make(const Class& receiverClass, Body<R, A...> body);
  /// One that takes any object.
  template <class R, class... A>
  static MethodPtr makeForAnyObject(Body<R, A...> body);
  /// One that takes any object and stands in front of another, which `previousFor` looks up when a call begins.
  template <class R, class... A>
  static MethodPtr makeInFront(
      PreviousFor previousFor,
      std::type_identity_t<std::function<R(const MethodPtr& previous, Object& receiver, Selector, const A&...)>> body);
  /// The one that stands for the absence of an implementation. Calling it throws UnrecognizedSelector.
  static const MethodPtr& missing();

  /// Calls it. The arguments must have the declared types after decaying. Throws MethodMismatch for a receiver of
  /// another class or another signature; passes on what the implementation throws.
  template <class R, class... A>
  R call(Object& receiver, Selector selector, const A&... arguments) const;

  bool takes(const Object& receiver) const;  ///< the receiver is of the right class
  std::type_index signature() const { return signature_; }
  /// This implementation with all that a call which begins now would look up, so that it can be called later although
  /// tables change meanwhile. Most have nothing to look up and answer themselves.
  virtual MethodPtr bound(const Object& receiver, Selector selector) const;

 protected:
  Method(const Class* receiverClass, std::type_index signature)
      : receiverClass_(receiverClass), signature_(signature) {}
  void check(const Object& receiver, Selector selector, std::type_index signature) const;

 private:
  const Class* receiverClass_;  // null: any
  std::type_index signature_;
};

/// What a protocol says about one instance method.
struct MethodDescription {
  Selector selector;
  std::type_index signature;
  bool isRequired = false;
};

template <class R, class... A>
MethodDescription optionalMethod(std::string_view selector) {
  return {Selector(selector), typeid(R(A...)), false};
}

/// A protocol of the run time: a name and descriptions of methods. Made once, lives for the process. Thread: any.
class ZN_EXPORT Protocol {
 public:
  /// Throws Exception when the name is taken.
  static const Protocol* define(std::string name, std::vector<MethodDescription> methods);
  static const Protocol* named(std::string_view name);  ///< `NSProtocolFromString`; null when there is none

  const std::string& name() const { return name_; }
  /// `protocol_getMethodDescription` of an instance method; null when there is none.
  const MethodDescription* methodDescription(Selector selector, bool isRequired) const;

 private:
  Protocol(std::string name, std::vector<MethodDescription> methods)
      : name_(std::move(name)), methods_(std::move(methods)) {}
  const std::string name_;
  const std::vector<MethodDescription> methods_;
};

/// A class of the run time: a name, a parent, protocols and a table of implementations. It is an object itself, whose
/// own class, the metaclass, holds the class operations. Classes are made once and live for the process; names are
/// unique. Tables may change at any time; a call that has begun is not touched by it. Thread: any.
class ZN_EXPORT Class : public Object {
 public:
  /// Makes a class. Throws Exception when the name is taken.
  static Class* define(std::string name, const Class* superclass = nullptr, std::vector<std::string> protocols = {});
  /// `NSClassFromString`: the class of that name, or null.
  static Class* named(std::string_view name);

  const std::string& name() const { return name_; }
  const Class* superclass() const { return superclass_; }
  bool isSubclassOf(const Class& other) const;  ///< also true for the class itself
  bool conformsToProtocol(std::string_view protocol) const;
  Class& metaclass() const { return *metaclass_; }
  const Class& isa() const override;

  /// `class_addMethod`: adds an implementation (not null). False when this class (not a parent) already has one for the
  /// selector, or when the implementation has another signature than the one given, that of a protocol's description.
  bool addMethod(Selector selector, MethodPtr method, std::optional<std::type_index> signature = std::nullopt);
  /// `class_getInstanceMethod`: the implementation that objects of this class use, own or inherited, be it the missing
  /// one; null when there is none.
  MethodPtr instanceMethod(Selector selector) const;
  /// `class_getMethodImplementation`: the same, with Method::missing() instead of null.
  MethodPtr methodImplementation(Selector selector) const;
  /// The class, this one or a parent, whose table instanceMethod finds the selector in; null when there is none.
  const Class* definingClass(Selector selector) const;
  /// `method_setImplementation`: puts an implementation (not null) where instanceMethod finds one, so an inherited
  /// method changes for all that inherit it, and answers the one before. Null, and nothing changes, when there is none.
  /// Signatures are not compared: a call that does not fit is an error when it is made.
  MethodPtr replaceMethod(Selector selector, MethodPtr method);

  Class(const Class&) = delete;
  Class& operator=(const Class&) = delete;

 private:
  enum class Kind { ordinary, meta };
  Class(Kind kind, std::string name, Class* superclass, std::vector<std::string> protocols);
  /// Calls `take` with the class, this one or a parent, whose table has the selector, and the implementation there.
  template <class Take>
  void find(Selector selector, const Take& take) const;
  const std::string name_;
  Class* const superclass_;
  const std::vector<std::string> protocols_;
  const std::unique_ptr<Class> metaclass_;  // null for a metaclass
  mutable Mutex mutex_;
  std::vector<std::pair<Selector, MethodPtr>> methods_ ZN_GUARDED_BY(mutex_);
};

/// Grows with every change of any class's table and of what implementations in front of others look up: what was bound
/// at this version still holds while it stays.
ZN_EXPORT std::uint64_t implementationsVersion();
/// To be called after a change of what a Method::PreviousFor answers, before a lock over it is released.
ZN_EXPORT void implementationsChanged();

/// The bound implementation that a call of the selector runs now; null when the receiver's class has none.
ZN_EXPORT MethodPtr boundImplementation(const Object& receiver, Selector selector);

/// What became of a callback that the platform delivered to a delegate.
enum class Delivery {
  nobody,       ///< there is no delegate, or its class has no entry for the selector
  called,       ///< its implementation ran
  raised,       ///< its implementation raised an exception, which ended the callback
  unrecognized  ///< its class's entry is the missing-method implementation
};

/// How a C++ class joins the run time, in its `isa()`:
///
///     const zn::Class& MyDelegate::isa() const {
///       static const zn::Class* const mine = zn::ClassBuilder<MyDelegate>("MyDelegate")
///                                          .conformsTo(kProtocolUserNotificationCenterDelegate)
///                                          .implements(kSelectorWillPresentNotification, &MyDelegate::willPresent)
///                                          .build();
///       return *mine;
///     }
///
/// The class is found by name once its first object, or a line at the start of the program, has asked for it.
template <class T>
class ClassBuilder {
 public:
  explicit ClassBuilder(std::string name, const Class* superclass = nullptr)
      : name_(std::move(name)), superclass_(superclass) {}

  ClassBuilder& conformsTo(std::string protocol) {
    protocols_.push_back(std::move(protocol));
    return *this;
  }

  template <class R, class C, class... A>
  requires std::is_base_of_v<C, T> ClassBuilder& implements(std::string_view selector, R (C::*function)(A...)) {
    return add<R, A...>(selector, function);
  }
  template <class R, class C, class... A>
  requires std::is_base_of_v<C, T> ClassBuilder& implements(std::string_view selector, R (C::*function)(A...) const) {
    return add<R, A...>(selector, function);
  }

  /// An operation of the class itself.
  template <class R, class... A>
  ClassBuilder& implementsClassOperation(std::string_view selector, R (*function)(A...)) {
    additions_.push_back([selector = Selector(selector), function](Class& target) {
      target.metaclass().addMethod(
          selector, Method::make<R, std::decay_t<A>...>(
                        target.metaclass(), [function](Object&, Selector, const std::decay_t<A>&... arguments) {
                          return function(arguments...);
                        }));
    });
    return *this;
  }

  /// The class, which lives as long as the process.
  const Class* build() {
    Class* const made = Class::define(std::move(name_), superclass_, std::move(protocols_));
    for (const auto& add : additions_) add(*made);
    return made;
  }

 private:
  template <class R, class... A, class Function>
  ClassBuilder& add(std::string_view selector, Function function) {
    additions_.push_back([selector = Selector(selector), function](Class& target) {
      target.addMethod(selector,
                       Method::make<R, std::decay_t<A>...>(
                           target, [function](Object& receiver, Selector, const std::decay_t<A>&... arguments) {
                             return (static_cast<T&>(receiver).*function)(arguments...);
                           }));
    });
    return *this;
  }

  std::string name_;
  const Class* superclass_;
  std::vector<std::string> protocols_;
  std::vector<std::function<void(Class&)>> additions_;
};

namespace detail {

template <class R, class... A>
class TypedMethod : public Method {
 public:
  TypedMethod(const Class* receiverClass, Body<R, A...> body)
      : Method(receiverClass, typeid(R(A...))), body_(std::move(body)) {}
  R invoke(Object& receiver, Selector selector, const A&... arguments) const {
    return body_(receiver, selector, arguments...);
  }

 private:
  Body<R, A...> body_;
};

template <class R, class... A>
class MethodInFront final : public TypedMethod<R, A...> {
 public:
  using FrontBody = std::function<R(const MethodPtr&, Object&, Selector, const A&...)>;
  MethodInFront(Method::PreviousFor previousFor, FrontBody body)
      : TypedMethod<R, A...>(nullptr,
                             [previousFor, body](Object& receiver, Selector selector, const A&... arguments) {
                               return body(previousFor(receiver, selector), receiver, selector, arguments...);
                             }),
        previousFor_(previousFor),
        body_(body) {}
  MethodPtr bound(const Object& receiver, Selector selector) const override {
    return Method::makeForAnyObject<R, A...>([previous = previousFor_(receiver, selector), body = body_](
                                                 Object& object, Selector called, const A&... arguments) {
      return body(previous, object, called, arguments...);
    });
  }

 private:
  Method::PreviousFor previousFor_;
  FrontBody body_;
};

}  // namespace detail

template <class R, class... A>
MethodPtr Method::make(const Class& receiverClass, Body<R, A...> body) {
  return std::make_shared<const detail::TypedMethod<R, A...>>(&receiverClass, std::move(body));
}

template <class R, class... A>
MethodPtr Method::makeForAnyObject(Body<R, A...> body) {
  return std::make_shared<const detail::TypedMethod<R, A...>>(nullptr, std::move(body));
}

template <class R, class... A>
MethodPtr Method::makeInFront(
    PreviousFor previousFor,
    std::type_identity_t<std::function<R(const MethodPtr&, Object&, Selector, const A&...)>> body) {
  return std::make_shared<const detail::MethodInFront<R, A...>>(std::move(previousFor), std::move(body));
}

template <class R, class... A>
R Method::call(Object& receiver, Selector selector, const A&... arguments) const {
  check(receiver, selector, typeid(R(A...)));
  return static_cast<const detail::TypedMethod<R, A...>*>(this)->invoke(receiver, selector, arguments...);
}

}  // namespace zn
