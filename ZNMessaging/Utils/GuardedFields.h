#pragma once

#include <type_traits>
#include <utility>

#include "ZNPlatform/Foundation/Mutex.h"

namespace zn {

/// The fields of a record that several threads share: each is read and replaced as one step, and `update` changes
/// several as one. A copy holds the fields of that moment.
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
    std::swap(fields_.*field, value);  // the old one ends with the argument, after the lock
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
