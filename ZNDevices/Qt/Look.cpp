#include "ZNDevices/Qt/Look_p.h"

#include <QFontDatabase>
#include <QHash>
#include <QWidget>
#include <algorithm>
#include <iterator>

namespace zn::qt {

namespace {

constexpr double kOwnSize = 16;        // points
constexpr double kPointsPerInch = 96;  // of the screens that storyboards are drawn for

struct Weight {
  const char* name;
  QFont::Weight weight;
};
// Longer names first: "DemiBold" also ends with "Bold".
constexpr Weight kWeights[] = {{"ultralight", QFont::ExtraLight},
                               {"extralight", QFont::ExtraLight},
                               {"extrabold", QFont::ExtraBold},
                               {"demibold", QFont::DemiBold},
                               {"semibold", QFont::DemiBold},
                               {"medium", QFont::Medium},
                               {"heavy", QFont::ExtraBold},
                               {"black", QFont::Black},
                               {"light", QFont::Light},
                               {"thin", QFont::Thin},
                               {"bold", QFont::Bold}};

/// "AvenirNext" is sold as "Avenir Next".
QString spaced(const QString& family) {
  QString text;
  for (const QChar each : family) {
    if (each.isUpper() && !text.isEmpty() && text.back().isLower()) text += QLatin1Char(' ');
    text += each;
  }
  return text;
}

/// The installed family of that name; empty: none.
QString installedFamily(const QString& family) {
  static QHash<QString, QString> known;
  const auto found = known.constFind(family);
  if (found != known.constEnd()) return *found;
  QString installed;
  for (const QString& each : {family, spaced(family)}) {
    if (!each.isEmpty() && QFontDatabase::hasFamily(each)) installed = each;
  }
  return *known.insert(family, installed);
}

}  // namespace

Setting settingOf(const QWidget& widget) {
  return {widget.font(), widget.logicalDpiY() / kPointsPerInch, widget.layoutDirection() == Qt::RightToLeft};
}

bool isDark(const QPalette& palette) {
  return palette.color(QPalette::Window).lightnessF() < palette.color(QPalette::WindowText).lightnessF();
}

QColor colorOf(const UIColor& color, const QPalette& palette) {
  const auto style = isDark(palette) ? UIUserInterfaceStyle::dark : UIUserInterfaceStyle::light;
  return QColor::fromRgb(0xFF000000u | color.resolvedFor(style));
}

QColor mixed(const QColor& below, const QColor& above, double share) {
  const auto mix = [&](float a, float b) { return static_cast<float>(a + (b - a) * share); };
  return QColor::fromRgbF(mix(below.redF(), above.redF()), mix(below.greenF(), above.greenF()),
                          mix(below.blueF(), above.blueF()));
}

QFont fontOf(const std::optional<UIFont>& font, const Setting& setting) {
  QFont made = setting.font;
  if (!font) {
    made.setPixelSize(static_cast<int>(kOwnSize * setting.scale + 0.5));
    return made;
  }
  const QString name = QString::fromStdString(font->name);
  const auto dash = name.lastIndexOf(QLatin1Char('-'));
  if (const QString family = installedFamily(name.left(dash)); !family.isEmpty()) made.setFamily(family);
  const QString style = dash < 0 ? QString() : name.mid(dash + 1).toLower();
  const auto* weight = std::find_if(std::begin(kWeights), std::end(kWeights),
                                    [&](const Weight& each) { return style.contains(QLatin1String(each.name)); });
  made.setWeight(weight == std::end(kWeights) ? QFont::Normal : weight->weight);
  made.setItalic(style.contains(QLatin1String("italic")) || style.contains(QLatin1String("oblique")));
  if (font->size > 0) made.setPixelSize(std::clamp(static_cast<int>(font->size * setting.scale + 0.5), 1, 500));
  return made;
}

QString textOf(const std::string& text) {
  QString shown = QString::fromStdString(text);
  shown.replace(QLatin1String("\r\n"), QLatin1String("\n"));
  for (QChar& each : shown) {
    if (each == QLatin1Char('\n') || each == QChar::ParagraphSeparator) {
      each = QChar::LineSeparator;
    } else if (each != QChar::LineSeparator && each.category() == QChar::Other_Control) {
      each = QLatin1Char(' ');
    }
  }
  return shown;
}

QString textOf(const Value& text) { return text.isString() ? textOf(std::string(text.string())) : QString(); }

}  // namespace zn::qt
