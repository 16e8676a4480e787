#pragma once

#include <QAbstractScrollArea>
#include <QPointer>
#include <QStringList>
#include <QVariantAnimation>
#include <functional>
#include <memory>
#include <vector>

#include "ZNDevices/Qt/RowHeights_p.h"
#include "ZNDevices/Qt/ViewLayout_p.h"
#include "ZNPlatform/UIKit/UITableView.h"

namespace zn::qt {

/// Draws a table, of which it asks for the cells in sight only, and hands it what the user does. The rows stand in a
/// column that does not get wider than one reads well.
///
/// Keys: arrows, Page, Home and End move the current row, Enter opens it, Delete removes it. A row is also removed by
/// dragging it towards where lines begin, and from its menu. What a data source or a delegate throws goes to the
/// device's log.
///
/// Thread: the main thread. What a tap or a removal leads to may destroy it.
class ZN_EXPORT TableWidget : public QAbstractScrollArea {
 public:
  TableWidget(std::shared_ptr<UITableView> table, QWidget* parent);
  ~TableWidget() override;

  /// Rows for which this is true have a dot, and are told as `markedName` to those who do not see it.
  void setMarks(std::function<bool(long row)> isMarked, const QString& markedName);

  long rows() const { return heights_.count(); }
  long currentRow() const { return current_; }
  void setCurrentRow(long row);
  void tap(long row);
  void remove(long row);
  bool canRemove(long row) const;
  /// What stands in a row; of one out of sight, too.
  QStringList textsOf(long row);
  bool isMarked(long row) const;
  QString markedName() const { return markedName_; }
  /// Of the row in this widget; empty for one out of sight.
  QRect rectOf(long row) const;
  long rowAt(const QPoint& point) const;  ///< -1: none

  struct Place {
    long row = 0;      ///< the first one in sight
    double above = 0;  ///< pixels of it that are out of sight
    long current = -1;
  };
  Place place() const;
  void setPlace(const Place& place);
  void redrawRows();  ///< with new cells
  /// Brings what is shown up to date with the table, if it is not.
  void settle();

 protected:
  bool event(QEvent* event) override;
  bool viewportEvent(QEvent* event) override;
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void changeEvent(QEvent* event) override;
  void scrollContentsBy(int dx, int dy) override;
  void keyPressEvent(QKeyEvent* event) override;
  void focusInEvent(QFocusEvent* event) override;
  void focusOutEvent(QFocusEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void mouseMoveEvent(QMouseEvent* event) override;
  void mouseReleaseEvent(QMouseEvent* event) override;
  void contextMenuEvent(QContextMenuEvent* event) override;

 private:
  class Display;
  /// A row in sight.
  struct Row {
    std::shared_ptr<UITableViewCell> cell;
    FlowedView view;
  };
  /// A row that the user drags, or that goes its way after that.
  struct Drag {
    enum class Kind { none, undecided, swipe, scroll, leaving } kind = Kind::none;
    QPoint start;
    QPoint last;
    long row = -1;
    double by = 0;  ///< pixels that the row is away from its place; negative: to the left
  };

  // Where rows are (TableWidget.cpp).
  void reload();
  void forgetLayout();
  void layOut(long row, double top);
  bool showAndMeasure(long first, long count);
  void updateScrollBar();
  QRectF column() const;
  double topOf(long row) const;
  void ensureVisible(long row);
  void removed(const std::vector<NSIndexPath>& rows);
  void reloaded(const std::vector<NSIndexPath>& rows);
  long lastShown() const { return first_ + static_cast<long>(shown_.size()) - 1; }
  void changed();

  // What the user does (TableWidget_Input.cpp).
  void dragTo(QMouseEvent* event);
  void letGo();
  void slide(double to, std::function<void()> then);
  void showMenu(long row, const QPoint& at);
  void setHovered(long row);
  long rowByKey(int key) const;

  // TableWidget_Painting.cpp
  void paintRow(QPainter& painter, long row, const Row& shown, const QRectF& frame) const;
  void paintBelowSwipe(QPainter& painter, const QRectF& frame, double by) const;
  QColor rowColor(const Row& shown) const;

  const std::shared_ptr<UITableView> table_;
  std::shared_ptr<Display> display_;
  std::function<bool(long)> isMarked_;
  QString markedName_;
  RowHeights heights_;
  std::vector<Row> shown_;
  long first_ = 0;  // of `shown_`
  double top_ = 0;  // of the first row, in the viewport
  long current_ = -1;
  long hovered_ = -1;
  Drag drag_;
  QPointer<QVariantAnimation> sliding_;
  bool isStale_ = true;  // the table was reloaded since `heights_` were filled
  bool needsLayout_ = true;
  bool adjusting_ = false;  // the scroll bar follows the rows, not the other way round
  bool byKeyboard_ = false;
};

}  // namespace zn::qt
