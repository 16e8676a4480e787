// What the user does with a table.

#include <QAction>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QPointingDevice>
#include <QScrollBar>
#include <QStyleHints>
#include <cmath>

#include "ZNDevices/Qt/Callbacks_p.h"
#include "ZNDevices/Qt/TableWidget_p.h"

namespace zn::qt {

namespace {
constexpr double kSwipedAway = 0.4;  // of a row's width
constexpr int kSlideMilliseconds = 160;
}  // namespace

void TableWidget::tap(long row) {
  guardedCall([&, table = table_] { table->tapRow(row); });
}

bool TableWidget::canRemove(long row) const {
  return guardedCall([&] {
    const auto source = table_->dataSource();
    return source && row >= 0 && source->canEditRowAtIndexPath(table_, NSIndexPath::indexPathForRow(row, 0));
  });
}

void TableWidget::remove(long row) {
  guardedCall([&, table = table_] { table->swipeRowAway(row); });
}

/// The row that a key leads to; -1 for keys that do not.
long TableWidget::rowByKey(int key) const {
  const long last = heights_.count() - 1;
  const double page = std::max(viewport()->height() * 0.9, 1.0);
  const auto from = [&](double pixels) {
    const long start = std::max(current_, 0L);
    const long there = heights_.rowAt(std::clamp(heights_.top(start) + pixels, 0.0, heights_.total()));
    return there != start ? there : std::clamp(start + (pixels < 0 ? -1 : 1), 0L, last);
  };
  switch (key) {
    case Qt::Key_Down:
      return current_ < 0 ? first_ : std::min(current_ + 1, last);
    case Qt::Key_Up:
      return current_ < 0 ? first_ : std::max(current_ - 1, 0L);
    case Qt::Key_PageDown:
      return from(page);
    case Qt::Key_PageUp:
      return from(-page);
    case Qt::Key_Home:
      return 0;
    case Qt::Key_End:
      return last;
    default:
      return -1;
  }
}

void TableWidget::keyPressEvent(QKeyEvent* event) {
  settle();
  const bool isPlain = (event->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
  if (heights_.count() == 0 || !isPlain) return event->ignore();
  byKeyboard_ = true;
  if (const long row = rowByKey(event->key()); row >= 0) return setCurrentRow(row);
  const bool isOnRow = current_ >= 0;
  switch (event->key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
    case Qt::Key_Space:
      if (isOnRow) return tap(current_);
      break;
    case Qt::Key_Delete:
    case Qt::Key_Backspace:
      if (isOnRow && canRemove(current_)) return remove(current_);
      break;
    default:
      break;
  }
  event->ignore();
}

void TableWidget::focusInEvent(QFocusEvent* event) {
  QAbstractScrollArea::focusInEvent(event);
  settle();
  byKeyboard_ = event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason;
  if (byKeyboard_ && current_ < 0 && heights_.count() > 0) setCurrentRow(first_);
  viewport()->update();
}

void TableWidget::focusOutEvent(QFocusEvent* event) {
  QAbstractScrollArea::focusOutEvent(event);
  viewport()->update();
}

void TableWidget::setHovered(long row) {
  if (hovered_ == row) return;
  hovered_ = row;
  viewport()->update();
}

bool TableWidget::viewportEvent(QEvent* event) {
  if (event->type() == QEvent::Leave) setHovered(-1);
  return QAbstractScrollArea::viewportEvent(event);
}

void TableWidget::mousePressEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return QAbstractScrollArea::mousePressEvent(event);
  settle();
  delete sliding_;
  byKeyboard_ = false;
  const QPoint at = event->position().toPoint();
  drag_ = {Drag::Kind::undecided, at, at, rowAt(at), 0};
  viewport()->update();
}

void TableWidget::mouseMoveEvent(QMouseEvent* event) {
  settle();
  if (drag_.kind == Drag::Kind::none || !(event->buttons() & Qt::LeftButton)) {
    return setHovered(rowAt(event->position().toPoint()));
  }
  dragTo(event);
}

void TableWidget::dragTo(QMouseEvent* event) {
  const QPoint at = event->position().toPoint();
  const QPoint way = at - drag_.start;
  const bool isTouch =
      event->pointingDevice() && event->pointingDevice()->type() == QInputDevice::DeviceType::TouchScreen;
  if (drag_.kind == Drag::Kind::undecided &&
      way.manhattanLength() >= QGuiApplication::styleHints()->startDragDistance()) {
    const bool isSideways = std::abs(way.x()) > std::abs(way.y());
    if (isSideways && drag_.row >= 0 && canRemove(drag_.row)) {
      drag_.kind = Drag::Kind::swipe;
    } else if (isTouch) {
      drag_.kind = Drag::Kind::scroll;
    }
  }
  if (drag_.kind == Drag::Kind::swipe) {
    // Towards where lines begin; the other way there is nothing behind the row.
    const bool rightToLeft = layoutDirection() == Qt::RightToLeft;
    drag_.by = rightToLeft ? std::max(way.x(), 0) : std::min(way.x(), 0);
    viewport()->update();
  } else if (drag_.kind == Drag::Kind::scroll) {
    verticalScrollBar()->setValue(verticalScrollBar()->value() - (at.y() - drag_.last.y()));
  }
  drag_.last = at;
}

void TableWidget::mouseReleaseEvent(QMouseEvent* event) {
  if (event->button() != Qt::LeftButton) return QAbstractScrollArea::mouseReleaseEvent(event);
  settle();
  if (drag_.kind == Drag::Kind::swipe) return letGo();
  const Drag done = std::exchange(drag_, {});
  const long row = rowAt(event->position().toPoint());
  viewport()->update();
  if (done.kind != Drag::Kind::undecided || row < 0 || row != done.row) return;
  setCurrentRow(row);
  tap(row);
}

void TableWidget::letGo() {
  drag_.kind = Drag::Kind::leaving;
  const double width = column().width();
  const bool goes = std::abs(drag_.by) >= width * kSwipedAway;
  slide(!goes          ? 0
        : drag_.by < 0 ? -width
                       : width,
        [this, goes] {
          if (drag_.kind != Drag::Kind::leaving) return;  // the rows changed meanwhile, or the next drag has begun
          const long row = std::exchange(drag_, {}).row;
          viewport()->update();
          if (goes) remove(row);
        });
}

/// Moves the dragged row on by itself.
void TableWidget::slide(double to, std::function<void()> then) {
  delete sliding_;
  sliding_ = new QVariantAnimation(this);
  sliding_->setDuration(kSlideMilliseconds);
  sliding_->setEasingCurve(QEasingCurve::OutCubic);
  sliding_->setStartValue(drag_.by);
  sliding_->setEndValue(to);
  connect(sliding_, &QVariantAnimation::valueChanged, this, [this](const QVariant& value) {
    drag_.by = value.toDouble();
    viewport()->update();
  });
  connect(
      sliding_, &QVariantAnimation::finished, this, [then = std::move(then)] { then(); }, Qt::QueuedConnection);
  sliding_->start(QAbstractAnimation::DeleteWhenStopped);
}

void TableWidget::contextMenuEvent(QContextMenuEvent* event) {
  settle();
  if (event->reason() == QContextMenuEvent::Keyboard) {
    if (current_ < 0) return;
    ensureVisible(current_);
    showMenu(current_, rectOf(current_).center());
  } else if (const long row = rowAt(event->pos()); row >= 0) {
    setCurrentRow(row);
    showMenu(row, event->pos());
  }
}

void TableWidget::showMenu(long row, const QPoint& at) {
  auto* menu = new QMenu(this);
  menu->setAttribute(Qt::WA_DeleteOnClose);
  // The row may be another one by then; the cell's texts tell.
  const auto then = [this, row, texts = textsOf(row)](void (TableWidget::*action)(long)) {
    if (textsOf(row) == texts) (this->*action)(row);
  };
  connect(menu->addAction(QCoreApplication::translate("zn::Table", "Open")), &QAction::triggered, this,
          [then] { then(&TableWidget::tap); });
  if (canRemove(row)) {
    connect(menu->addAction(QCoreApplication::translate("zn::Table", "Delete")), &QAction::triggered, this,
            [then] { then(&TableWidget::remove); });
  }
  menu->popup(viewport()->mapToGlobal(at));
}

}  // namespace zn::qt
