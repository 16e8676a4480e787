#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ZNPlatform/Export.h"

/// Whether the surroundings are light or dark.
enum class UIUserInterfaceStyle { light = 1, dark = 2 };

/// An opaque colour, which may differ between light and dark surroundings.
struct ZN_EXPORT UIColor {
  std::uint32_t light = 0;  ///< 0xRRGGBB
  std::uint32_t dark = 0;

  static UIColor colorWithRGB(std::uint32_t rgb) { return {rgb, rgb}; }
  /// From "#RRGGBB", digits in either case; nothing for any other text.
  static std::optional<UIColor> colorWithHexText(std::string_view text);

  std::uint32_t resolvedFor(UIUserInterfaceStyle style) const {
    return style == UIUserInterfaceStyle::dark ? dark : light;
  }
  /// "#RRGGBB", upper case.
  std::string hexText(UIUserInterfaceStyle style = UIUserInterfaceStyle::light) const;

  friend bool operator==(const UIColor&, const UIColor&) = default;
};
