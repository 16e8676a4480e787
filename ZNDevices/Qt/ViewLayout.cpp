#include "ZNDevices/Qt/ViewLayout_p.h"

#include <QFontMetricsF>
#include <QPainter>
#include <algorithm>
#include <cmath>

namespace zn::qt {

namespace {

class Layout {
 public:
  explicit Layout(const Setting& setting) : setting_(setting) {}

  /// Returns the height that the view needs.
  double flow(const std::shared_ptr<UIView>& view, QPointF at, double width) {
    const std::size_t mine = pieces_.size();
    if (view->backgroundColor()) pieces_.push_back({.background = view->backgroundColor()});
    double height = 0;
    if (const auto label = std::dynamic_pointer_cast<UILabel>(view)) {
      height = placeText(label, at, width);
    } else if (const auto stack = std::dynamic_pointer_cast<UIStackView>(view)) {
      height = flowStack(*stack, at, width);
    } else {
      height = flowParts(*view, at, width);
    }
    if (view->backgroundColor()) pieces_[mine].frame = QRectF(at, QSizeF(width, height));
    return height;
  }

  void fill(const std::shared_ptr<UIView>& view, const QRectF& frame) {
    if (view->backgroundColor()) pieces_.push_back({.frame = frame, .background = view->backgroundColor()});
    if (const auto table = std::dynamic_pointer_cast<UITableView>(view)) {
      pieces_.push_back({.frame = frame, .table = table});
    } else if (const auto label = std::dynamic_pointer_cast<UILabel>(view)) {
      placeText(label, frame.topLeft(), frame.width());
      pieces_.back().frame = frame;
    } else if (const auto stack = std::dynamic_pointer_cast<UIStackView>(view)) {
      flowStack(*stack, frame.topLeft(), frame.width());
    } else {
      for (const auto& part : view->subviews()) {
        const CGRect& inner = part->frame();
        const Span x = placed(inner.x, inner.width, view->frame().width, frame.width());
        const Span y = placed(inner.y, inner.height, view->frame().height, frame.height());
        fill(part, QRectF(frame.x() + x.start, frame.y() + y.start, x.size, y.size));
      }
    }
  }

  Pieces take(double width) {
    if (setting_.rightToLeft) {
      for (Piece& each : pieces_) each.frame.moveLeft(width - each.frame.right());
    }
    return std::move(pieces_);
  }

 private:
  struct Span {
    double start;
    double size;
  };

  /// Where a part lies along one axis of a view that was designed in one size and has another.
  Span placed(double start, double size, double designed, double actual) const {
    start *= setting_.scale;
    size *= setting_.scale;
    designed *= setting_.scale;
    if (size <= 0) return {start, std::max(actual - start, 0.0)};
    if (designed <= 0) return {start, size};
    const double after = designed - start - size;
    if (size >= designed / 2) return {start, std::max(actual - start - after, 0.0)};
    if (std::abs(start - after) <= 1) return {(actual - std::min(size, actual)) / 2, std::min(size, actual)};
    return {start < after ? start : actual - after - size, size};
  }

  double placeText(const std::shared_ptr<UILabel>& label, QPointF at, double width) {
    auto text = std::make_shared<LabelText>(*label, setting_);
    const double height = text->text().isEmpty() ? 0 : text->breakInto(width);
    pieces_.push_back({.frame = QRectF(at, QSizeF(width, height)), .text = std::move(text)});
    return height;
  }

  double flowParts(const UIView& view, QPointF at, double width) {
    const CGRect& own = view.frame();
    double height = view.subviews().empty() ? own.height * setting_.scale : 0;
    for (const auto& part : view.subviews()) {
      const CGRect& inner = part->frame();
      const Span x = placed(inner.x, inner.width, own.width, width);
      const double needed = flow(part, QPointF(at.x() + x.start, at.y() + inner.y * setting_.scale), x.size);
      const double below = std::max(own.height - inner.y - inner.height, 0.0);
      height = std::max(height, needed + (inner.y + below) * setting_.scale);
    }
    return height;
  }

  static bool isEmptyLabel(const UIView& view) {
    const auto* label = dynamic_cast<const UILabel*>(&view);
    return label && label->text().string().empty();
  }

  double flowStack(const UIStackView& stack, QPointF at, double width) {
    const UIEdgeInsets& margins = stack.layoutMargins();
    const QPointF inner = at + QPointF(margins.left, margins.top) * setting_.scale;
    const double room = std::max(width - (margins.left + margins.right) * setting_.scale, 1.0);
    std::vector<std::shared_ptr<UIView>> parts;
    for (const auto& part : stack.subviews()) {
      if (!isEmptyLabel(*part)) parts.push_back(part);
    }
    const bool isColumn = stack.axis() == UILayoutConstraintAxis::vertical;
    const double spacing = stack.spacing() * setting_.scale;
    const double height = isColumn ? flowColumn(parts, inner, room, spacing) : flowRow(parts, inner, room, spacing);
    return height + (margins.top + margins.bottom) * setting_.scale;
  }

  double flowColumn(const std::vector<std::shared_ptr<UIView>>& parts, QPointF at, double width, double spacing) {
    double height = 0;
    for (const auto& part : parts) {
      if (height > 0) height += spacing;
      height += flow(part, at + QPointF(0, height), width);
    }
    return height;
  }

  /// Parts that hug their content get what they need, the others share the rest; labels stand on one line.
  double flowRow(const std::vector<std::shared_ptr<UIView>>& parts, QPointF at, double width, double spacing) {
    std::vector<double> widths(parts.size(), -1);
    double left = width - spacing * static_cast<double>(std::max<std::size_t>(parts.size(), 1) - 1);
    double sharing = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
      const auto label = std::dynamic_pointer_cast<UILabel>(parts[i]);
      if (parts[i]->hugsContent() && label) {
        widths[i] = std::min(LabelText(*label, setting_).naturalWidth(), std::max(width / 2, 1.0));
        left -= widths[i];
      } else {
        sharing += 1;
      }
    }
    struct Placed {
      std::size_t piece;
      double ascent;
    };
    std::vector<Placed> labels;
    double height = 0;
    double x = 0;
    double ascent = 0;
    for (std::size_t i = 0; i < parts.size(); ++i) {
      const double share = widths[i] >= 0 ? widths[i] : std::max(left / sharing, 1.0);
      height = std::max(height, flow(parts[i], at + QPointF(x, 0), share));
      if (std::dynamic_pointer_cast<UILabel>(parts[i])) {
        labels.push_back({pieces_.size() - 1, pieces_.back().text->ascent()});
        ascent = std::max(ascent, labels.back().ascent);
      }
      x += share + spacing;
    }
    for (const Placed& each : labels) {
      QRectF& frame = pieces_[each.piece].frame;
      frame.translate(0, ascent - each.ascent);
      height = std::max(height, frame.bottom() - at.y());
    }
    return height;
  }

  const Setting& setting_;
  Pieces pieces_;
};

}  // namespace

LabelText::LabelText(const UILabel& label, const Setting& setting)
    : text_(textOf(label.text())),
      color_(label.textColor()),
      wanted_(label.textAlignment()),
      lines_(label.numberOfLines()),
      rightToLeft_(setting.rightToLeft) {
  layout_.setText(text_);
  layout_.setFont(fontOf(label.font(), setting));
  layout_.setCacheEnabled(true);
}

Qt::Alignment LabelText::alignment() const {
  if (wanted_ == NSTextAlignment::center) return Qt::AlignHCenter;
  const bool left = (wanted_ == NSTextAlignment::left) != rightToLeft_;
  return Qt::AlignAbsolute | (left ? Qt::AlignLeft : Qt::AlignRight);
}

double LabelText::naturalWidth() const { return std::ceil(QFontMetricsF(layout_.font()).horizontalAdvance(text_)) + 1; }

double LabelText::breakInto(double width) {
  QTextOption option(alignment());
  option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  option.setTextDirection(Qt::LayoutDirectionAuto);
  layout_.setTextOption(option);
  shortened_.reset();
  double height = 0;
  layout_.beginLayout();
  for (int count = 1;; ++count) {
    QTextLine line = layout_.createLine();
    if (!line.isValid()) break;
    line.setLineWidth(width);
    const int end = line.textStart() + line.textLength();
    line.setPosition(QPointF(0, height));
    height += std::ceil(line.height());
    if (lines_ <= 0 || count < lines_ || end >= text_.size()) continue;
    QString rest = text_.mid(line.textStart());
    rest.replace(QChar::LineSeparator, QLatin1Char(' '));
    shortened_ = std::make_unique<QTextLayout>(QFontMetricsF(layout_.font()).elidedText(rest, Qt::ElideRight, width),
                                               layout_.font());
    shortened_->setTextOption(option);
    shortened_->beginLayout();
    QTextLine last = shortened_->createLine();
    last.setLineWidth(width + 1);  // what fits by one measure must not be broken by the other
    last.setPosition(line.position());
    shortened_->endLayout();
    break;
  }
  layout_.endLayout();
  return height;
}

double LabelText::ascent() const { return layout_.lineCount() > 0 ? layout_.lineAt(0).ascent() : 0; }

void LabelText::draw(QPainter& painter, const QRectF& frame, const QColor& color) const {
  const int count = layout_.lineCount();
  if (count == 0) return;
  painter.setPen(color);
  // In a frame that is higher than the text, the text stands in the middle.
  const QRectF last = layout_.lineAt(count - 1).rect();
  const QPointF at(frame.x(), frame.y() + std::max((frame.height() - last.bottom()) / 2, 0.0));
  for (int i = 0; i < count - (shortened_ ? 1 : 0); ++i) layout_.lineAt(i).draw(&painter, at);
  if (shortened_) shortened_->lineAt(0).draw(&painter, at);
}

FlowedView flowed(const std::shared_ptr<UIView>& view, double width, const Setting& setting) {
  Layout layout(setting);
  const double height = layout.flow(view, QPointF(), width);
  return {layout.take(width), height};
}

Pieces filling(const std::shared_ptr<UIView>& view, const QSizeF& size, const Setting& setting) {
  Layout layout(setting);
  layout.fill(view, QRectF(QPointF(), size));
  return layout.take(size.width());
}

void draw(QPainter& painter, std::span<const Piece> pieces, const QPalette& palette) {
  for (const Piece& each : pieces) {
    if (each.background) painter.fillRect(each.frame, colorOf(*each.background, palette));
    if (!each.text) continue;
    each.text->draw(painter, each.frame,
                    each.text->color() ? colorOf(*each.text->color(), palette) : palette.color(QPalette::WindowText));
  }
}

}  // namespace zn::qt
