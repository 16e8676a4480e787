#pragma once

#include <optional>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/UIKit/UIFont.h"
#include "ZNPlatform/UIKit/UIView.h"

enum class NSTextAlignment { left = 0, center = 1, right = 2 };

/// A text that the user cannot change. Thread and ownership: as UIView.
class ZN_EXPORT UILabel : public UIView {
 public:
  const zn::Value& text() const { return text_; }  ///< a string, or nil
  /// Throws zn::Exception for anything else, and keeps its text.
  void setText(const zn::Value& text);
  const std::optional<UIFont>& font() const { return font_; }  ///< none: the device's own
  void setFont(const std::optional<UIFont>& font) { font_ = font; }
  const std::optional<UIColor>& textColor() const { return textColor_; }  ///< none: the device's own
  void setTextColor(const std::optional<UIColor>& color) { textColor_ = color; }
  NSTextAlignment textAlignment() const { return textAlignment_; }
  void setTextAlignment(NSTextAlignment alignment) { textAlignment_ = alignment; }
  int numberOfLines() const { return numberOfLines_; }  ///< at most so many; 0: as many as the text needs
  void setNumberOfLines(int lines) { numberOfLines_ = lines; }

 private:
  zn::Value text_;
  std::optional<UIFont> font_;
  std::optional<UIColor> textColor_;
  NSTextAlignment textAlignment_ = NSTextAlignment::left;
  int numberOfLines_ = 1;
};
