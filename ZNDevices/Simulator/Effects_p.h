#pragma once

#include <functional>
#include <initializer_list>
#include <memory>
#include <string_view>
#include <utility>

#include "ZNDevices/Simulator/Simulator.h"
#include "ZNPlatform/Foundation/Mutex.h"

namespace zn {

/// Hands effects to the observer, if there is one. Thread: any.
class EffectSink {
 public:
  void setObserver(std::function<void(const Effect&)> observer);
  /// An effect of that kind: what stands under the kind's own key, and the other keys. nil becomes null.
  void emit(std::string_view kind, const Value& value,
            std::initializer_list<std::pair<std::string_view, Value>> others = {}) const;

 private:
  using Observer = std::function<void(const Effect&)>;
  mutable Mutex mutex_;
  std::shared_ptr<const Observer> observer_ ZN_GUARDED_BY(mutex_);
};

using EffectSinkPtr = std::shared_ptr<EffectSink>;

/// Null where there is nothing: effects show both alike.
inline Value orNull(const Value& value) { return value.isNil() ? Value::null() : value; }

}  // namespace zn
