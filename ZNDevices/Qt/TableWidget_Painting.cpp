// How the rows of a table look.

#include <QCoreApplication>
#include <QPainter>
#include <QPainterPath>
#include <cmath>

#include "ZNDevices/Qt/TableWidget_p.h"

namespace zn::qt {

namespace {
// Points.
constexpr double kInset = 16;
constexpr double kDot = 8;
constexpr double kRing = 2;

const QColor kDanger(0xD9, 0x2D, 0x20);
// Shares of the accent or the ink over a row.
constexpr double kHovered = 0.04;
constexpr double kPressed = 0.08;
constexpr double kCurrent = 0.10;
constexpr double kSeparator = 0.10;
}  // namespace

QColor TableWidget::rowColor(const Row& shown) const {
  if (shown.cell && shown.cell->backgroundColor()) return colorOf(*shown.cell->backgroundColor(), palette());
  return table_->backgroundColor() ? colorOf(*table_->backgroundColor(), palette()) : palette().color(QPalette::Base);
}

void TableWidget::paintEvent(QPaintEvent*) {
  settle();
  QPainter painter(viewport());
  painter.setRenderHint(QPainter::Antialiasing);
  const QColor ground =
      table_->backgroundColor() ? colorOf(*table_->backgroundColor(), palette()) : palette().color(QPalette::Base);
  painter.fillRect(viewport()->rect(), ground);
  const QRectF place = column();
  double top = top_;
  for (long row = first_; row <= lastShown(); ++row) {
    const QRectF frame(place.x(), std::round(top), place.width(), heights_.of(row));
    const double by = drag_.row == row ? drag_.by : 0;
    if (by != 0) paintBelowSwipe(painter, frame, by);
    painter.save();
    if (by != 0) painter.setClipRect(frame);
    painter.translate(frame.x() + by, frame.y());
    paintRow(painter, row, shown_[static_cast<std::size_t>(row - first_)], QRectF(QPointF(), frame.size()));
    painter.restore();
    top += heights_.of(row);
  }
}

void TableWidget::paintRow(QPainter& painter, long row, const Row& shown, const QRectF& frame) const {
  const double scale = settingOf(*this).scale;
  const QColor ink = palette().color(QPalette::WindowText);
  const QColor accent = palette().color(QPalette::Highlight);
  QColor ground = rowColor(shown);
  if (row == current_) {
    ground = mixed(ground, accent, kCurrent);
  } else if (drag_.kind != Drag::Kind::none && drag_.row == row) {
    ground = mixed(ground, ink, kPressed);
  } else if (row == hovered_) {
    ground = mixed(ground, ink, kHovered);
  }
  painter.fillRect(frame, ground);
  const bool rightToLeft = layoutDirection() == Qt::RightToLeft;
  if (row + 1 < heights_.count()) {
    QRectF line(frame.x(), frame.bottom() - 1, frame.width(), 1);
    line.adjust(rightToLeft ? 0 : kInset * scale, 0, rightToLeft ? -kInset * scale : 0, 0);
    painter.fillRect(line, mixed(ground, ink, kSeparator));
  }
  // The row's own background is painted already, in its state.
  std::span<const Piece> pieces = shown.view.pieces;
  if (!pieces.empty() && pieces.front().background) pieces = pieces.subspan(1);
  draw(painter, pieces, palette());
  if (isMarked(row) && !pieces.empty()) {
    const double dot = kDot * scale;
    double middle = pieces.front().frame.center().y();
    for (const Piece& each : pieces) {
      if (!each.text || each.text->text().isEmpty()) continue;
      middle = each.frame.y() + each.text->ascent() * 0.64;  // half the height of the first line's letters
      break;
    }
    const double margin = (kInset * scale - dot) / 2;
    painter.setPen(Qt::NoPen);
    painter.setBrush(accent);
    painter.drawEllipse(
        QRectF(rightToLeft ? frame.right() - margin - dot : frame.x() + margin, middle - dot / 2, dot, dot));
  }
  if (row == current_ && hasFocus() && byKeyboard_) {
    const double ring = kRing * scale;
    painter.setPen(QPen(accent, ring));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(frame.adjusted(ring, ring, -ring, -ring), 4 * scale, 4 * scale);
  }
}

/// What the row uncovers when it is dragged: that it will be deleted.
void TableWidget::paintBelowSwipe(QPainter& painter, const QRectF& frame, double by) const {
  painter.fillRect(frame, kDanger);
  const double inset = kInset * settingOf(*this).scale;
  QFont font = this->font();
  font.setWeight(QFont::DemiBold);
  painter.setFont(font);
  painter.setPen(Qt::white);
  painter.drawText(frame.adjusted(inset, 0, -inset, 0),
                   Qt::AlignVCenter | Qt::AlignAbsolute | (by < 0 ? Qt::AlignRight : Qt::AlignLeft),
                   QCoreApplication::translate("zn::Table", "Delete"));
}

}  // namespace zn::qt
