#pragma once

#include <memory>
#include <string>

#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxViewController.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/UIKit/UIViewController.h"

namespace zn {

/// The ready-made inbox screen on a view controller of the simulated host, as a user sees and touches it:
///
///     const auto screen = zn::InboxScreen::open();
///     screen->inbox()->setInboxTitle("News");
///     screen->appear();
///     screen->tapRow(0);
///     simulator->runUntilIdle();
///     std::cout << zn::drawnAsText(*screen->inbox(), 60);
///
/// Rows that are not there cannot be touched: nothing happens. Thread: the main thread.
class ZN_EXPORT InboxScreen {
 public:
  /// Puts the screen on a new view controller; null when it could not be loaded, which is logged.
  static std::shared_ptr<InboxScreen> open();

  const std::shared_ptr<ZNInboxViewController>& inbox() const { return inbox_; }
  void appear();
  void tapRow(long row);
  void deleteRow(long row);  ///< by swiping it away
  /// {"title": …, "rows": [{"body", "cell", "date", "font", "title"}], "label": text or null}. Asks the screen for all
  /// its cells, once a row, in order; it is asked at no other time. null for a row without a cell.
  Value shown() const;

  InboxScreen(std::shared_ptr<UIViewController> host, std::shared_ptr<ZNInboxViewController> inbox);

 private:
  const std::shared_ptr<UIViewController> host_;
  const std::shared_ptr<ZNInboxViewController> inbox_;
};

/// A screen as lines of text of that many columns (at least 20): its title, then its labels and the rows of its tables,
/// of which at most `rows` are drawn and asked for their cells. Rows in a bold font have a dot before them.
ZN_EXPORT std::string drawnAsText(UIViewController& screen, std::size_t columns, long rows = 20);

}  // namespace zn
