#pragma once

#include <QColor>
#include <QPalette>
#include <QRectF>
#include <QTextLayout>
#include <memory>
#include <span>
#include <vector>

#include "ZNDevices/Qt/Look_p.h"
#include "ZNPlatform/UIKit/UILabel.h"
#include "ZNPlatform/UIKit/UITableView.h"

class QPainter;

// Where the parts of a view lie in a window, and how they are drawn. Points of the views become pixels at the setting's
// scale. Nothing here asks a data source. Thread: the main thread.
namespace zn::qt {

/// The text of a label, as plain text in as many lines as the label has.
class LabelText {
 public:
  LabelText(const UILabel& label, const Setting& setting);

  const QString& text() const { return text_; }
  const std::optional<UIColor>& color() const { return color_; }
  double naturalWidth() const;     ///< in one line
  double breakInto(double width);  ///< into lines of that width; returns their height
  double ascent() const;           ///< from the top to the first line's baseline
  void draw(QPainter& painter, const QRectF& frame, const QColor& color) const;

 private:
  Qt::Alignment alignment() const;
  QTextLayout layout_;
  std::unique_ptr<QTextLayout> shortened_;  // the last line, where the text is longer than the label
  QString text_;
  std::optional<UIColor> color_;
  NSTextAlignment wanted_;
  int lines_;
  bool rightToLeft_;
};

/// A part of a view in its place: a background, a text, or a view that draws itself.
struct Piece {
  QRectF frame = {};
  std::optional<UIColor> background = {};
  std::shared_ptr<LabelText> text = {};
  std::shared_ptr<UITableView> table = {};
};
using Pieces = std::vector<Piece>;

struct FlowedView {
  Pieces pieces;  ///< backgrounds before what lies on them
  double height = 0;
};

/// A view that is as wide as given and as high as its contents need, such as a cell.
FlowedView flowed(const std::shared_ptr<UIView>& view, double width, const Setting& setting);
/// A view that fills a window. Parts keep their distances to the edges that they are near to, and grow with the view
/// where they take more than half of it.
Pieces filling(const std::shared_ptr<UIView>& view, const QSizeF& size, const Setting& setting);

/// Draws backgrounds and texts.
void draw(QPainter& painter, std::span<const Piece> pieces, const QPalette& palette);

}  // namespace zn::qt
