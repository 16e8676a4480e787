#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ZNMessaging/ZNInbox/ZNInboxStorage/InboxList.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxCellSelectedDelegate.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxTableViewCell.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/UIKit/UIColor.h"
#include "ZNPlatform/UIKit/UIFont.h"
#include "ZNPlatform/UIKit/UITableView.h"
#include "ZNPlatform/UIKit/UIViewController.h"

/// The ready-made inbox screen: the messages that were in the inbox when the screen was loaded, in the store's order. A
/// tap marks a message read, tracks the click and tells the delegate; a swipe deletes the message.
///
/// Made with ZNInbox::initializeInboxOnController. It is loaded then, so the properties below take effect when cells
/// are asked for next: call `inboxTableView()->reloadData()` after changing the look of a screen that is shown already.
/// A value that is not set selects the default styling.
///
/// An inbox that is empty when the screen is loaded shows a label instead of the list. When the user deletes the last
/// message, the empty list stays until the screen is loaded again. Messages that come while the screen is open, also
/// newer versions of those that it shows, are shown by the next screen; a row changes its read state only.
///
/// Ownership: std::shared_ptr; the delegate is held weakly. The screen may go at any time, also while it waits to
/// redraw a row. Thread: the main thread. No operation throws: a failure is written to the system log.
class ZN_EXPORT ZNInboxViewController : public UIViewController,
                                        public UITableViewDataSource,
                                        public UITableViewDelegate {
 public:
  /// `customiseInboxWithCellTextColor:fontForReadMsg:fontForUnreadMsg:dateTextColor:font:cellBackgroundColor:`
  void customiseInboxWithCellTextColor(const std::optional<UIColor>& cellTextColor,
                                       const std::optional<UIFont>& fontForReadMsg,
                                       const std::optional<UIFont>& fontForUnreadMsg,
                                       const std::optional<UIColor>& dateTextColor, const std::optional<UIFont>& font,
                                       const std::optional<UIColor>& cellBackgroundColor);

  /// Background of the table; applied each time the screen is about to be shown.
  const std::optional<UIColor>& tableBackgroundColor() const { return tableBackgroundColor_; }
  void setTableBackgroundColor(const std::optional<UIColor>& color) { tableBackgroundColor_ = color; }
  /// The screen's title; "Inbox" while it is nil.
  const zn::Value& inboxTitle() const { return inboxTitle_; }
  void setInboxTitle(const zn::Value& title);
  /// Whether a tap also does what a click on the notification would do. Default false.
  bool shouldProcessNotificationActions() const { return shouldProcessNotificationActions_; }
  void setShouldProcessNotificationActions(bool should) { shouldProcessNotificationActions_ = should; }
  std::shared_ptr<ZNInboxCellSelectedDelegate> delegate() const { return delegate_.lock(); }
  void setDelegate(const std::weak_ptr<ZNInboxCellSelectedDelegate>& delegate) { delegate_ = delegate; }
  const std::optional<UIColor>& notificationTextLabelColor() const { return notificationTextLabelColor_; }
  void setNotificationTextLabelColor(const std::optional<UIColor>& color) { notificationTextLabelColor_ = color; }
  const std::optional<UIColor>& dateTextLabelColor() const { return dateTextLabelColor_; }
  void setDateTextLabelColor(const std::optional<UIColor>& color) { dateTextLabelColor_ = color; }
  const std::optional<UIColor>& cellBackgroundColor() const { return cellBackgroundColor_; }
  void setCellBackgroundColor(const std::optional<UIColor>& color) { cellBackgroundColor_ = color; }
  const std::optional<UIFont>& notificationTextLabelFont() const { return notificationTextLabelFont_; }
  void setNotificationTextLabelFont(const std::optional<UIFont>& font) { notificationTextLabelFont_ = font; }
  const std::optional<UIFont>& dateTextLabelFont() const { return dateTextLabelFont_; }
  void setDateTextLabelFont(const std::optional<UIFont>& font) { dateTextLabelFont_ = font; }
  const std::optional<UIFont>& notificationTextLabelUnreadFont() const { return notificationTextLabelUnreadFont_; }
  void setNotificationTextLabelUnreadFont(const std::optional<UIFont>& font) {
    notificationTextLabelUnreadFont_ = font;
  }
  /// The rows.
  const zn::InboxList& inboxMessagesArray() const { return inboxMessagesArray_; }
  void setInboxMessagesArray(zn::InboxList messages) { inboxMessagesArray_ = std::move(messages); }
  std::shared_ptr<UITableView> inboxTableView() const { return inboxTableView_.lock(); }  ///< null: it was removed

  /// `checkInboxMessagesCount`: reloads the list, or puts the label in its place.
  void checkInboxMessagesCount();
  /// `setPropertiesForCell:forClickedNotification:`: the look of a message that was read, or was not.
  void setPropertiesForCell(const std::shared_ptr<ZNInboxTableViewCell>& cell, bool isRead) const;
  /// `getCellFontForDict:`: the message font for an entry given as a dictionary with "isRead".
  UIFont getCellFontForDict(const zn::Value& entry) const;

  void viewDidLoad() override;
  void viewWillAppear(bool animated) override;
  void connectOutlet(const std::string& name, const std::shared_ptr<UIView>& view) override;
  void awakeFromNib() override;

  long numberOfRowsInSection(const std::shared_ptr<UITableView>& tableView, long section) override;
  std::shared_ptr<UITableViewCell> cellForRowAtIndexPath(const std::shared_ptr<UITableView>& tableView,
                                                         const NSIndexPath& indexPath) override;
  bool canEditRowAtIndexPath(const std::shared_ptr<UITableView>& tableView, const NSIndexPath& indexPath) override;
  void commitEditingStyle(const std::shared_ptr<UITableView>& tableView, UITableViewCellEditingStyle style,
                          const NSIndexPath& indexPath) override;
  void didSelectRowAtIndexPath(const std::shared_ptr<UITableView>& tableView, const NSIndexPath& indexPath) override;

 private:
  using Entry = std::shared_ptr<ZNInboxModel>;

  UIFont messageFont(bool isRead) const;
  Entry entryAt(const NSIndexPath& indexPath) const;
  std::optional<NSIndexPath> rowOf(const Entry& entry) const;
  void markReadLater(const Entry& entry);
  void redraw(const Entry& entry);
  void tellDelegate(const Entry& entry) const;

  std::optional<UIColor> tableBackgroundColor_;
  zn::Value inboxTitle_;
  bool shouldProcessNotificationActions_ = false;
  std::weak_ptr<ZNInboxCellSelectedDelegate> delegate_;
  std::optional<UIColor> notificationTextLabelColor_;
  std::optional<UIColor> dateTextLabelColor_;
  std::optional<UIColor> cellBackgroundColor_;
  std::optional<UIFont> notificationTextLabelFont_;
  std::optional<UIFont> dateTextLabelFont_;
  std::optional<UIFont> notificationTextLabelUnreadFont_;
  zn::InboxList inboxMessagesArray_;
  std::weak_ptr<UITableView> inboxTableView_;
};
