#pragma once

#include <type_traits>
#include <utility>

#include "ZNPlatform/Foundation/Mutex.h"

namespace zn {

/// The fields of an object that several threads share, or a single value: each is read and replaced as one step, and
/// `update` changes several as one. A copy holds the fields of that moment. What is replaced ends after the lock.
template <class Fields>
class GuardedFields {
 public:
  GuardedFields() = default;
  GuardedFields(const GuardedFields& other) : fields_(other.all()) {}
  GuardedFields& operator=(const GuardedFields&) = delete;

  Fields all() const {
    Lock lock(mutex_);
    return fields_;
  }
  void replace(Fields fields) {
    Lock lock(mutex_);
    std::swap(fields_, fields);
  }
  /// What `look` makes of them; it must not call out.
  template <class Look>
  std::invoke_result_t<Look, const Fields&> read(Look&& look) const {
    Lock lock(mutex_);
    return look(fields_);
  }
  template <class T>
  T get(T Fields::*field) const {
    Lock lock(mutex_);
    return fields_.*field;
  }
  template <class T>
  void set(T Fields::*field, std::type_identity_t<T> value) {
    Lock lock(mutex_);
    std::swap(fields_.*field, value);
  }
  /// `change` must not call out.
  template <class Change>
  std::invoke_result_t<Change, Fields&> update(Change&& change) {
    Lock lock(mutex_);
    return change(fields_);
  }

 private:
  mutable Mutex mutex_;
  Fields fields_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zn

/// A property of a record whose `fields_` are guarded: a getter that bears its field's name, and a setter.
#define ZN_PROPERTY(Type, name, setName)                   \
  Type name() const { return fields_.get(&Fields::name); } \
  void setName(const Type& value) { fields_.set(&Fields::name, value); }
