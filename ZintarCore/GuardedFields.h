#pragma once

#include <atomic>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZNPlatform/Foundation/Mutex.h"

namespace zn {

/// Tells the states of fields apart, as Coding::revision wants it: one number for each, and never one twice.
class Revision {
 public:
  std::uint64_t number() const noexcept { return number_.load(std::memory_order_acquire); }
  void renew() noexcept { number_.store(nextRevision(), std::memory_order_release); }

 private:
  std::atomic<std::uint64_t> number_{nextRevision()};
};

/// For fields whose states nobody tells apart.
struct NoRevision {
  void renew() noexcept {}
};

/// The fields of an object that several threads share, or a single value: each is read and replaced as one step, and
/// `update` changes several as one. A copy holds the fields of that moment. What is replaced ends after the lock.
///
/// With a Revision (see RevisedFields), whatever may have changed the fields gives them another number: after the
/// change, so that who asks for the number first and reads the fields then never has an old state under the new number.
template <class Fields, class FieldsRevision = NoRevision>
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
    revision_.renew();
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
    revision_.renew();
  }
  /// `change` must not call out. What it changed before it threw stays changed.
  template <class Change>
  std::invoke_result_t<Change, Fields&> update(Change&& change) {
    Lock lock(mutex_);
    const Renewal renewal{revision_};
    return change(fields_);
  }
  /// For what no revision tells apart, such as what is made of other fields when it is first needed.
  template <class Change>
  std::invoke_result_t<Change, Fields&> updateUnrevised(Change&& change) {
    Lock lock(mutex_);
    return change(fields_);
  }

  /// Of the fields as they stand; takes no lock. Copies have one of their own.
  std::uint64_t revision() const noexcept { return revision_.number(); }

 private:
  struct Renewal {
    FieldsRevision& revision;
    ~Renewal() { revision.renew(); }
  };

  mutable Mutex mutex_;
  Fields fields_ ZN_GUARDED_BY(mutex_);
  [[no_unique_address]] FieldsRevision revision_;
};

/// Of a record that is archived: its `revision()` is that of its fields.
template <class Fields>
using RevisedFields = GuardedFields<Fields, Revision>;

}  // namespace zn

/// A property of a record whose `fields_` are guarded: a getter that bears its field's name, and a setter.
#define ZN_PROPERTY(Type, name, setName)                   \
  Type name() const { return fields_.get(&Fields::name); } \
  void setName(const Type& value) { fields_.set(&Fields::name, value); }
