#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace zn::qt {

/// How high the rows of a list are: measured once they were on the screen, estimated before. Places are pixels from the
/// top of the first row. A change costs as much as one look at all rows, when a place is asked for next.
class RowHeights {
 public:
  void reset(long count, double estimate) {
    heights_.assign(static_cast<std::size_t>(std::max(count, 0L)), estimate);
    changed_ = true;
  }
  long count() const { return static_cast<long>(heights_.size()); }
  double of(long row) const { return heights_[static_cast<std::size_t>(row)]; }
  /// Whether that is news.
  bool set(long row, double height) {
    double& known = heights_[static_cast<std::size_t>(row)];
    if (known == height) return false;
    known = height;
    changed_ = true;
    return true;
  }
  void remove(long row) {
    if (row < 0 || row >= count()) return;
    heights_.erase(heights_.begin() + row);
    changed_ = true;
  }
  double top(long row) const {
    update();
    return tops_[static_cast<std::size_t>(row)];
  }
  double total() const { return top(count()); }
  /// The row at a place; the last one below all of them. There must be rows.
  long rowAt(double place) const {
    update();
    const auto next = std::upper_bound(tops_.begin() + 1, tops_.end() - 1, place);
    return next - tops_.begin() - 1;
  }

 private:
  void update() const {
    if (!changed_) return;
    tops_.resize(heights_.size() + 1);
    double place = 0;
    for (std::size_t row = 0; row < heights_.size(); place += heights_[row++]) tops_[row] = place;
    tops_.back() = place;
    changed_ = false;
  }

  std::vector<double> heights_;
  mutable std::vector<double> tops_;  // of each row, and the end of the last one
  mutable bool changed_ = true;
};

}  // namespace zn::qt
