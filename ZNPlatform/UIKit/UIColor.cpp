#include "ZNPlatform/UIKit/UIColor.h"

#include <charconv>
#include <cstdio>

std::optional<UIColor> UIColor::colorWithHexText(std::string_view text) {
  if (text.size() != 7 || text.front() != '#') return std::nullopt;
  std::uint32_t rgb = 0;
  const auto [end, error] = std::from_chars(text.data() + 1, text.data() + text.size(), rgb, 16);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return colorWithRGB(rgb);
}

std::string UIColor::hexText(UIUserInterfaceStyle style) const {
  char text[8];
  std::snprintf(text, sizeof text, "#%06X", resolvedFor(style) & 0xFFFFFFu);
  return text;
}
