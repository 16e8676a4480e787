#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Runtime/Runtime.h"

/// What an observer is told of a change.
inline constexpr unsigned NSKeyValueObservingOptionNew = 1;
inline constexpr unsigned NSKeyValueObservingOptionOld = 2;

namespace zn {

/// A change of an observed property. A value is there if the observer asked for it with its options; null is the null
/// object: the property held nothing.
struct KeyValueChange {
  std::optional<std::shared_ptr<Object>> oldValue;
  std::optional<std::shared_ptr<Object>> newValue;
};

/// The observers of one object's properties: a member of a class that lets a property be observed. Thread: any.
///
/// Observers are told in the order in which they were added, on the thread that makes the change, without a lock held;
/// they may add and remove observers. One that is gone, or was removed meanwhile, is skipped; one that throws does not
/// keep the others from being told, and its exception is reported as a diagnostic.
class ZN_EXPORT KeyValueObservers {
 public:
  void add(const std::shared_ptr<Object>& observer, const std::string& keyPath, unsigned options, const void* context);
  /// Removes the newest registration of that observer, key path and context. Throws Exception when there is none.
  void remove(const Object& observer, const std::string& keyPath, const void* context);
  void tell(const std::shared_ptr<Object>& object, const std::string& keyPath, const std::shared_ptr<Object>& oldValue,
            const std::shared_ptr<Object>& newValue) const;

  KeyValueObservers();
  ~KeyValueObservers();

 private:
  struct Registration;
  using Registrations = std::vector<std::shared_ptr<Registration>>;
  mutable Mutex mutex_;
  /// Never changed, only replaced, so that telling walks it without the lock.
  std::shared_ptr<const Registrations> list_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zn
