#pragma once

#include <memory>
#include <string>

#include "ZNPlatform/Export.h"

/// The clipboard. Thread: the main thread.
class ZN_EXPORT UIPasteboard {
 public:
  static const std::shared_ptr<UIPasteboard>& generalPasteboard();
  /// `setString:`: replaces what is on it. Nothing on a device without one.
  void setString(const std::string& text);
};
