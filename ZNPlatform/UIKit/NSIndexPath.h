#pragma once

/// The place of a row in a table.
struct NSIndexPath {
  long row = 0;
  long section = 0;
  static NSIndexPath indexPathForRow(long row, long section) { return {row, section}; }
  friend bool operator==(const NSIndexPath&, const NSIndexPath&) = default;
};
