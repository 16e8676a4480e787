#pragma once

#include <string>

/// A font by name and size in points.
struct UIFont {
  std::string name;
  double size = 0;
  static UIFont fontWithName(std::string name, double size) { return {std::move(name), size}; }
  friend bool operator==(const UIFont&, const UIFont&) = default;
};
