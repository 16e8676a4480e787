#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/UIKit/NSIndexPath.h"
#include "ZNPlatform/UIKit/UITableViewCell.h"
#include "ZNPlatform/UIKit/UIView.h"

class UITableView;

/// How a change of rows is to be shown.
enum class UITableViewRowAnimation { fade = 2, automatic = 100 };

/// What a table shows. The table holds it weakly and calls it on the main thread.
class ZN_EXPORT UITableViewDataSource {
 public:
  virtual ~UITableViewDataSource() = default;
  /// `tableView:numberOfRowsInSection:`
  virtual long numberOfRowsInSection(const std::shared_ptr<UITableView>& tableView, long section) = 0;
  /// `tableView:cellForRowAtIndexPath:`; null leaves the row empty.
  virtual std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(const std::shared_ptr<UITableView>& tableView,
                                                                 const NSIndexPath& indexPath) = 0;
  /// `tableView:canEditRowAtIndexPath:`
  virtual bool canEditRowAtIndexPath(const std::shared_ptr<UITableView>& /*tableView*/,
                                     const NSIndexPath& /*indexPath*/) {
    return false;
  }
  /// `tableView:commitEditingStyle:forRowAtIndexPath:`
  virtual void commitEditingStyle(const std::shared_ptr<UITableView>& /*tableView*/,
                                  UITableViewCellEditingStyle /*style*/, const NSIndexPath& /*indexPath*/) {}
};

/// Who is told what the user does with a table. The table holds it weakly and calls it on the main thread.
class ZN_EXPORT UITableViewDelegate {
 public:
  virtual ~UITableViewDelegate() = default;
  /// `tableView:didSelectRowAtIndexPath:`
  virtual void didSelectRowAtIndexPath(const std::shared_ptr<UITableView>& /*tableView*/,
                                       const NSIndexPath& /*indexPath*/) {}
};

namespace zn {

/// What draws a table and wants to know what changed. The table calls it on the main thread, after the change; it may
/// ask the table for cells, now or later.
class ZN_EXPORT TableDisplay {
 public:
  virtual ~TableDisplay() = default;
  virtual void tableReloaded() {}
  virtual void rowsReloaded(const std::vector<NSIndexPath>& /*rows*/, UITableViewRowAnimation /*animation*/) {}
  virtual void rowsDeleted(const std::vector<NSIndexPath>& /*rows*/, UITableViewRowAnimation /*animation*/) {}
  virtual void selectionChanged(bool /*animated*/) {}
};

}  // namespace zn

/// A list of rows in one section, of which only those on the screen have cells: work and memory depend on them alone,
/// however long the list is. What draws the table says with `showRows` which rows can be seen.
///
/// Thread and ownership: as UIView. Rows that are not there are harmless everywhere.
class ZN_EXPORT UITableView : public UIView {
 public:
  /// A row height: as high as the cell's contents need.
  static constexpr double automaticDimension = -1;

  std::shared_ptr<UITableViewDataSource> dataSource() const { return dataSource_.lock(); }
  void setDataSource(const std::weak_ptr<UITableViewDataSource>& dataSource) { dataSource_ = dataSource; }
  std::shared_ptr<UITableViewDelegate> delegate() const { return delegate_.lock(); }
  void setDelegate(const std::weak_ptr<UITableViewDelegate>& delegate) { delegate_ = delegate; }
  /// Points that a row is taken to need until it is shown.
  double estimatedRowHeight() const { return estimatedRowHeight_; }
  void setEstimatedRowHeight(double height) { estimatedRowHeight_ = height; }
  double rowHeight() const { return rowHeight_; }
  void setRowHeight(double height) { rowHeight_ = height; }

  /// A prototype: how cells of that identifier are made.
  void registerCell(const std::string& identifier, std::function<std::shared_ptr<UITableViewCell>()> make);
  bool hasCell(const std::string& identifier) const { return prototypes_.contains(identifier); }
  /// `dequeueReusableCellWithIdentifier:`: a cell that no row needs any more, or a new one. Throws zn::Exception for an
  /// identifier without a prototype.
  std::shared_ptr<UITableViewCell> dequeueReusableCellWithIdentifier(const std::string& identifier);

  /// `reloadData`: all rows lose their cells. The data source is asked again when rows are shown next.
  void reloadData();
  /// `reloadRowsAtIndexPaths:withRowAnimation:`: the same for these rows.
  void reloadRowsAtIndexPaths(const std::vector<NSIndexPath>& rows, UITableViewRowAnimation animation);
  /// `deleteRowsAtIndexPaths:withRowAnimation:`: the data source has removed these rows already; those below move up.
  void deleteRowsAtIndexPaths(const std::vector<NSIndexPath>& rows, UITableViewRowAnimation animation);
  const std::optional<NSIndexPath>& indexPathForSelectedRow() const { return selection_; }
  /// `deselectRowAtIndexPath:animated:`
  void deselectRowAtIndexPath(const NSIndexPath& indexPath, bool animated);

  long numberOfRows();  ///< as the data source says now; 0 without one
  /// `cellForRowAtIndexPath:`: the cell of a row on the screen; null for others.
  std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(const NSIndexPath& indexPath) const;

  // What those call that draw the table.

  void setDisplay(const std::weak_ptr<zn::TableDisplay>& display) { display_ = display; }
  /// `count` rows from `first` on are on the screen now, and no others. Asks the data source for the cells of those
  /// that have none yet, in order. Returns the cells in order, null for a row without one.
  std::vector<std::shared_ptr<UITableViewCell>> showRows(long first, long count);
  /// The user tapped a row: it is selected, and the delegate is told.
  void tapRow(long row);
  /// The user swiped a row away: the data source decides what becomes of it.
  void swipeRowAway(long row);

 private:
  std::shared_ptr<UITableView> self();
  void recycle(std::shared_ptr<UITableViewCell> cell);

  std::weak_ptr<UITableViewDataSource> dataSource_;
  std::weak_ptr<UITableViewDelegate> delegate_;
  std::weak_ptr<zn::TableDisplay> display_;
  double estimatedRowHeight_ = automaticDimension;
  double rowHeight_ = automaticDimension;
  std::map<std::string, std::function<std::shared_ptr<UITableViewCell>()>> prototypes_;
  std::map<long, std::shared_ptr<UITableViewCell>> shown_;
  std::multimap<std::string, std::shared_ptr<UITableViewCell>> unused_;  // by identifier
  std::optional<NSIndexPath> selection_;
};
