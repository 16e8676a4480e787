#pragma once

#include <map>
#include <memory>
#include <string>

#include "ZNDevices/Simulator/Effects_p.h"
#include "ZNDevices/Simulator/Simulator.h"
#include "ZNPlatform/Runtime/Runtime.h"

namespace zn {

class HostObject : public Object {
 public:
  explicit HostObject(const Class& isa) : isa_(isa) {}
  const Class& isa() const override { return isa_; }

 private:
  const Class& isa_;
};

/// Makes host classes, one object each, and owns the objects. Thread: the main thread.
class HostObjects {
 public:
  explicit HostObjects(EffectSinkPtr effects) : effects_(std::move(effects)) {}

  std::shared_ptr<Object> make(const HostClass& description);
  /// An object that is there from the start and implements nothing, until `make` describes its class for the first
  /// time.
  std::shared_ptr<Object> makeUndescribed(const std::string& className);
  std::shared_ptr<Object> find(const std::string& className) const;

 private:
  void implement(Class& target, const HostClass& description);

  const EffectSinkPtr effects_;
  std::map<std::string, std::shared_ptr<Object>> objects_;
  std::map<std::string, Class*> undescribed_;
};

}  // namespace zn
