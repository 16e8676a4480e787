#pragma once

#include <memory>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

/// Attributes of an event. Interactive unless marked otherwise: a non-interactive event does not count as something the
/// user did. Thread: belongs to the call that makes it; not changed after it is handed to trackEvent.
class ZN_EXPORT ZNProperties {
 public:
  /// `initWithAttributes:`; anything but a dictionary counts as no attributes.
  static std::shared_ptr<ZNProperties> initWithAttributes(const zn::Value& attributes) {
    return std::make_shared<ZNProperties>(attributes);
  }
  explicit ZNProperties(const zn::Value& attributes) : attributes_(attributes.mutableDictionaryCopy()) {}

  /// `addDateAttribute:withName:`
  void addDateAttribute(zn::Date date, std::string_view name) { attributes_.setObjectNilHandled(date, name); }

  void setNonInteractive() { interactive_ = false; }
  bool isInteractive() const { return interactive_; }
  const zn::Value& attributes() const { return attributes_; }

 private:
  zn::Value attributes_;
  bool interactive_ = true;
};
