#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>
#include <QString>
#include <optional>

#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/UIKit/UIColor.h"
#include "ZNPlatform/UIKit/UIFont.h"

class QWidget;

// How the fonts and colours of a view look in a window. Thread: the main thread.
namespace zn::qt {

/// What a widget's surroundings say about drawing views in it.
struct Setting {
  QFont font;        ///< in place of fonts that are not installed, and of labels without one
  double scale = 1;  ///< pixels for a point
  bool rightToLeft = false;
  friend bool operator==(const Setting&, const Setting&) = default;
};
Setting settingOf(const QWidget& widget);

bool isDark(const QPalette& palette);
QColor colorOf(const UIColor& color, const QPalette& palette);
/// `share` of one colour over another: 0 is none of it.
QColor mixed(const QColor& below, const QColor& above, double share);

/// A font that is named as storyboards do, family and style in one ("Inter-SemiBold"). Where the family is not
/// installed, the setting's own takes its place, in that weight and size.
QFont fontOf(const std::optional<UIFont>& font, const Setting& setting);

/// A text as it stands: no markup, and control characters are blanks, but for ends of lines.
QString textOf(const Value& text);
QString textOf(const std::string& text);

}  // namespace zn::qt
