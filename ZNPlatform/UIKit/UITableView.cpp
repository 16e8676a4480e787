#include "ZNPlatform/UIKit/UITableView.h"

#include <algorithm>
#include <utility>

#include "ZNPlatform/Foundation/Exception.h"

std::shared_ptr<UITableView> UITableView::self() { return std::static_pointer_cast<UITableView>(shared_from_this()); }

void UITableView::registerCell(const std::string& identifier, std::function<std::shared_ptr<UITableViewCell>()> make) {
  prototypes_[identifier] = std::move(make);
}

std::shared_ptr<UITableViewCell> UITableView::dequeueReusableCellWithIdentifier(const std::string& identifier) {
  if (const auto found = unused_.find(identifier); found != unused_.end()) {
    const auto cell = std::move(found->second);
    unused_.erase(found);
    cell->prepareForReuse();
    return cell;
  }
  const auto prototype = prototypes_.find(identifier);
  if (prototype == prototypes_.end()) throw zn::Exception("the table has no cell prototype \"" + identifier + "\"");
  const auto make = prototype->second;
  auto cell = make();
  cell->setReuseIdentifier(identifier);
  return cell;
}

void UITableView::recycle(std::shared_ptr<UITableViewCell> cell) {
  if (!cell) return;
  cell->removeFromSuperview();
  const std::string identifier = cell->reuseIdentifier();
  unused_.emplace(identifier, std::move(cell));
}

long UITableView::numberOfRows() {
  const auto source = dataSource();
  return source ? source->numberOfRowsInSection(self(), 0) : 0;
}

std::shared_ptr<UITableViewCell> UITableView::cellForRowAtIndexPath(const NSIndexPath& indexPath) const {
  const auto found = indexPath.section == 0 ? shown_.find(indexPath.row) : shown_.end();
  return found == shown_.end() ? nullptr : found->second;
}

void UITableView::reloadData() {
  for (auto& [row, cell] : std::exchange(shown_, {})) recycle(std::move(cell));
  selection_.reset();
  if (const auto display = display_.lock()) display->tableReloaded();
}

void UITableView::reloadRowsAtIndexPaths(const std::vector<NSIndexPath>& rows, UITableViewRowAnimation animation) {
  for (const NSIndexPath& each : rows) {
    if (auto node = shown_.extract(each.row); !node.empty()) recycle(std::move(node.mapped()));
  }
  if (const auto display = display_.lock()) display->rowsReloaded(rows, animation);
}

void UITableView::deleteRowsAtIndexPaths(const std::vector<NSIndexPath>& rows, UITableViewRowAnimation animation) {
  const auto isDeleted = [&](long row) {
    return std::any_of(rows.begin(), rows.end(), [&](const NSIndexPath& each) { return each.row == row; });
  };
  const auto rowsAbove = [&](long row) {
    return std::count_if(rows.begin(), rows.end(), [&](const NSIndexPath& each) { return each.row < row; });
  };
  for (auto& [row, cell] : std::exchange(shown_, {})) {
    if (isDeleted(row)) {
      recycle(std::move(cell));
    } else {
      shown_.emplace(row - rowsAbove(row), std::move(cell));
    }
  }
  if (selection_ && isDeleted(selection_->row)) {
    selection_.reset();
  } else if (selection_) {
    selection_->row -= rowsAbove(selection_->row);
  }
  if (const auto display = display_.lock()) display->rowsDeleted(rows, animation);
}

void UITableView::deselectRowAtIndexPath(const NSIndexPath& indexPath, bool animated) {
  if (selection_ != indexPath) return;
  selection_.reset();
  if (const auto display = display_.lock()) display->selectionChanged(animated);
}

std::vector<std::shared_ptr<UITableViewCell>> UITableView::showRows(long first, long count) {
  const auto keep = self();
  first = std::max(first, 0L);
  const long end = first + std::clamp(count, 0L, std::max(numberOfRows() - first, 0L));
  for (auto& [row, cell] : std::exchange(shown_, {})) {
    if (row >= first && row < end) {
      shown_.emplace(row, std::move(cell));
    } else {
      recycle(std::move(cell));
    }
  }
  std::vector<std::shared_ptr<UITableViewCell>> cells;
  for (long row = first; row < end; ++row) {
    auto cell = cellForRowAtIndexPath({row, 0});
    const auto source = dataSource();
    if (!cell && source) cell = source->cellForRowAtIndexPath(keep, {row, 0});
    if (cell) {
      addSubview(cell);
      shown_[row] = cell;
    }
    cells.push_back(std::move(cell));
  }
  return cells;
}

void UITableView::tapRow(long row) {
  const auto keep = self();
  if (row < 0 || row >= numberOfRows()) return;
  selection_ = NSIndexPath{row, 0};
  if (const auto display = display_.lock()) display->selectionChanged(false);
  if (const auto told = delegate()) told->didSelectRowAtIndexPath(keep, {row, 0});
}

void UITableView::swipeRowAway(long row) {
  const auto keep = self();
  const auto source = dataSource();
  if (!source || row < 0 || row >= numberOfRows() || !source->canEditRowAtIndexPath(keep, {row, 0})) return;
  source->commitEditingStyle(keep, UITableViewCellEditingStyle::delete_, {row, 0});
}
