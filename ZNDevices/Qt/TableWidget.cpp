#include "ZNDevices/Qt/TableWidget_p.h"

#include <QAccessible>
#include <QCoreApplication>
#include <QEvent>
#include <QPainter>
#include <QScrollBar>
#include <algorithm>
#include <cmath>

#include "ZNDevices/Qt/Callbacks_p.h"
#include "ZNDevices/Qt/TableAccessible_p.h"

namespace zn::qt {

namespace {
constexpr double kWidestColumn = 760;  // points
constexpr double kEstimatedHeight = 80;
constexpr int kLayoutRounds = 8;  // what is measured may bring further rows into sight
}  // namespace

class TableWidget::Display : public TableDisplay {
 public:
  explicit Display(TableWidget* widget) : widget_(widget) {}
  void tableReloaded() override {
    if (widget_) widget_->reload();
  }
  void rowsReloaded(const std::vector<NSIndexPath>& rows, UITableViewRowAnimation) override {
    if (widget_) widget_->reloaded(rows);
  }
  void rowsDeleted(const std::vector<NSIndexPath>& rows, UITableViewRowAnimation) override {
    if (widget_) widget_->removed(rows);
  }

 private:
  const QPointer<TableWidget> widget_;
};

TableWidget::TableWidget(std::shared_ptr<UITableView> table, QWidget* parent)
    : QAbstractScrollArea(parent), table_(std::move(table)), display_(std::make_shared<Display>(this)) {
  installAccessibility();
  table_->setDisplay(display_);
  setFrameShape(QFrame::NoFrame);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setFocusPolicy(Qt::StrongFocus);
  setMouseTracking(true);
  viewport()->setAutoFillBackground(false);
  viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
  viewport()->setMouseTracking(true);
}

TableWidget::~TableWidget() { delete sliding_; }

void TableWidget::setMarks(std::function<bool(long)> isMarked, const QString& markedName) {
  isMarked_ = std::move(isMarked);
  markedName_ = markedName;
  viewport()->update();
}

bool TableWidget::isMarked(long row) const {
  return isMarked_ && guardedCall([&] { return isMarked_(row); });
}

// ---- what the table says

void TableWidget::reload() {
  isStale_ = true;
  changed();
}

void TableWidget::reloaded(const std::vector<NSIndexPath>& rows) {
  for (const NSIndexPath& each : rows) {
    if (each.row >= first_ && each.row <= lastShown()) shown_[static_cast<std::size_t>(each.row - first_)] = {};
  }
  changed();
}

void TableWidget::removed(const std::vector<NSIndexPath>& rows) {
  if (isStale_) return;
  std::vector<long> gone;
  for (const NSIndexPath& each : rows) gone.push_back(each.row);
  std::sort(gone.rbegin(), gone.rend());
  for (const long row : gone) {
    heights_.remove(row);
    if (row < current_) --current_;
    if (row >= first_ && row <= lastShown()) {
      shown_.erase(shown_.begin() + (row - first_));
    } else if (row < first_) {
      --first_;
    }
  }
  current_ = std::min(current_, heights_.count() - 1);
  hovered_ = -1;
  drag_ = {};
  changed();
}

void TableWidget::changed() {
  if (!needsLayout_) QCoreApplication::postEvent(this, new QEvent(QEvent::LayoutRequest));
  needsLayout_ = true;
  viewport()->update();
}

void TableWidget::redrawRows() {
  std::vector<NSIndexPath> rows;
  for (long row = first_; row <= lastShown(); ++row) rows.push_back(NSIndexPath::indexPathForRow(row, 0));
  guardedCall([&] { table_->reloadRowsAtIndexPaths(rows, UITableViewRowAnimation::automatic); });
}

void TableWidget::forgetLayout() {
  shown_.clear();
  changed();
}

void TableWidget::settle() {
  if (!needsLayout_) return;
  if (isStale_) {
    isStale_ = false;
    const double estimate = table_->estimatedRowHeight() > 0 ? table_->estimatedRowHeight() : kEstimatedHeight;
    const double scale = settingOf(*this).scale;
    const long count = guardedCall([&] { return table_->numberOfRows(); });
    const double fixed = table_->rowHeight();
    shown_.clear();
    heights_.reset(count, std::round((fixed > 0 ? fixed : estimate) * scale));
    current_ = std::min(current_, count - 1);
    hovered_ = -1;
    drag_ = {};
    if (QAccessible::isActive()) {
      QAccessibleEvent event(this, QAccessible::ObjectReorder);
      QAccessible::updateAccessibility(&event);
    }
  }
  layOut(first_, top_);
}

// ---- where rows are

QRectF TableWidget::column() const {
  const double widest = kWidestColumn * settingOf(*this).scale;
  const double width = std::min<double>(viewport()->width(), widest);
  return QRectF(std::floor((viewport()->width() - width) / 2), 0, width, viewport()->height());
}

/// Asks for the cells of these rows and measures those that are new. Returns whether a height was another than thought.
bool TableWidget::showAndMeasure(long first, long count) {
  std::vector<std::shared_ptr<UITableViewCell>> cells;
  guardedCall([&] { cells = table_->showRows(first, count); });
  cells.resize(static_cast<std::size_t>(count));
  const Setting setting = settingOf(*this);
  const double width = column().width();
  std::vector<Row> rows(cells.size());
  bool isNews = false;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const long row = first + static_cast<long>(i);
    Row* known = row >= first_ && row <= lastShown() ? &shown_[static_cast<std::size_t>(row - first_)] : nullptr;
    if (known && known->cell && known->cell == cells[i]) {
      rows[i] = std::move(*known);
      continue;
    }
    if (cells[i]) rows[i] = {cells[i], guardedCall([&] { return flowed(cells[i], width, setting); })};
    const double fixed = table_->rowHeight();
    isNews |= heights_.set(row, std::max(std::ceil(fixed > 0 ? fixed * setting.scale : rows[i].view.height), 1.0));
  }
  shown_ = std::move(rows);
  first_ = first;
  return isNews;
}

/// Puts a row at that place of the viewport, as far as the ends of the list allow, and the others around it.
void TableWidget::layOut(long row, double top) {
  needsLayout_ = false;
  const double height = viewport()->height();
  const long count = heights_.count();
  if (count == 0) {
    shown_.clear();
    first_ = 0;
    top_ = 0;
    guardedCall([&] { table_->showRows(0, 0); });
    return updateScrollBar();
  }
  row = std::clamp(row, 0L, count - 1);
  for (int round = 0; round < kLayoutRounds; ++round) {
    top = std::max(top, height - (heights_.total() - heights_.top(row)));
    top = std::min(top, heights_.top(row));
    const double scrolled = heights_.top(row) - top;  // of the viewport's upper edge
    const long first = heights_.rowAt(scrolled);
    const long last = heights_.rowAt(scrolled + std::max(height, 1.0) - 1);
    if (!showAndMeasure(first, last - first + 1)) break;
  }
  top_ = top + heights_.top(first_) - heights_.top(row);
  updateScrollBar();
  viewport()->update();
}

void TableWidget::updateScrollBar() {
  adjusting_ = true;
  QScrollBar* bar = verticalScrollBar();
  const int height = viewport()->height();
  bar->setPageStep(height);
  bar->setSingleStep(40);
  bar->setRange(0, std::max(static_cast<int>(heights_.total()) - height, 0));
  bar->setValue(heights_.count() > 0 ? static_cast<int>(std::lround(heights_.top(first_) - top_)) : 0);
  adjusting_ = false;
}

void TableWidget::scrollContentsBy(int, int dy) {
  if (adjusting_ || heights_.count() == 0) return;
  if (std::abs(dy) <= 2 * viewport()->height()) {
    layOut(first_, top_ + dy);  // from what was seen, so that it moves by just as much
  } else {
    const int place = verticalScrollBar()->value();
    const long row = heights_.rowAt(place);
    layOut(row, heights_.top(row) - place);
  }
}

double TableWidget::topOf(long row) const { return top_ + heights_.top(row) - heights_.top(first_); }

void TableWidget::ensureVisible(long row) {
  settle();
  for (int round = 0; round < 2; ++round) {  // the second time with the height that it really has
    if (row < 0 || row >= heights_.count()) return;
    const double top = topOf(row);
    const double spare = viewport()->height() - heights_.of(row);
    if (top < 0 || spare < 0) {
      layOut(row, 0);
    } else if (top > spare) {
      layOut(row, spare);
    }
  }
}

QRect TableWidget::rectOf(long row) const {
  if (row < first_ || row > lastShown()) return {};
  const QRectF frame = column();
  const QRect rect = QRectF(frame.x(), topOf(row), frame.width(), heights_.of(row)).toRect();
  return rect.translated(viewport()->pos()).intersected(viewport()->geometry());
}

long TableWidget::rowAt(const QPoint& point) const {
  if (!column().contains(QPointF(point))) return -1;
  for (long row = first_; row <= lastShown(); ++row) {
    if (point.y() >= topOf(row) && point.y() < topOf(row) + heights_.of(row)) return row;
  }
  return -1;
}

TableWidget::Place TableWidget::place() const { return {first_, -top_, current_}; }

void TableWidget::setPlace(const Place& place) {
  first_ = place.row;
  top_ = -place.above;
  shown_.clear();
  current_ = place.current;
  changed();
  settle();
}

void TableWidget::setCurrentRow(long row) {
  settle();
  row = std::clamp(row, -1L, heights_.count() - 1);
  if (row == current_) return;
  current_ = row;
  viewport()->update();
  if (row < 0) return;
  ensureVisible(row);
  if (QAccessible::isActive() && hasFocus()) {
    QAccessibleEvent event(this, QAccessible::Focus);
    event.setChild(static_cast<int>(row));
    QAccessible::updateAccessibility(&event);
  }
}

QStringList TableWidget::textsOf(long row) {
  settle();
  if (row < 0 || row >= heights_.count()) return {};
  const auto texts = [](const Pieces& pieces) {
    QStringList found;
    for (const Piece& each : pieces) {
      if (!each.text || each.text->text().isEmpty()) continue;
      found += QString(each.text->text()).replace(QChar::LineSeparator, QLatin1Char(' '));
    }
    return found;
  };
  if (row >= first_ && row <= lastShown()) return texts(shown_[static_cast<std::size_t>(row - first_)].view.pieces);
  QStringList found;
  guardedCall([&] {
    const auto cells = table_->showRows(row, 1);
    if (!cells.empty() && cells.front())
      found = texts(flowed(cells.front(), column().width(), settingOf(*this)).pieces);
  });
  shown_.clear();
  layOut(first_, top_);  // the rows in sight have lost their cells meanwhile
  return found;
}

// ---- Qt

bool TableWidget::event(QEvent* event) {
  if (event->type() == QEvent::LayoutRequest) settle();
  return QAbstractScrollArea::event(event);
}

void TableWidget::resizeEvent(QResizeEvent* event) {
  const bool isOtherWidth = event->oldSize().width() != event->size().width();
  if (isOtherWidth) shown_.clear();
  changed();
  settle();
}

void TableWidget::changeEvent(QEvent* event) {
  QAbstractScrollArea::changeEvent(event);
  switch (event->type()) {
    case QEvent::FontChange:
    case QEvent::LayoutDirectionChange:
    case QEvent::StyleChange:
      forgetLayout();
      break;
    case QEvent::PaletteChange:
      viewport()->update();
      break;
    default:
      break;
  }
}

}  // namespace zn::qt
