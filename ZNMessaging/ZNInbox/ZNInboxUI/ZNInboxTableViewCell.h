#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxModel.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/UIKit/UILabel.h"
#include "ZNPlatform/UIKit/UITableViewCell.h"

/// One message in the inbox screen: its title (in cells made from "InboxCell1" only), its text, and the day on which it
/// came. The labels come from the storyboard and are part of the cell; the accessors give null where there is none.
///
/// Thread and ownership: as UIView. A failure is written to the system log, and the rest of the cell stays empty.
class ZN_EXPORT ZNInboxTableViewCell : public UITableViewCell {
 public:
  /// `setDataWithMessage:`
  void setDataWithMessage(const std::shared_ptr<ZNInboxModel>& message);
  /// `setPushTimeForMessage:`: the day as "14-Nov" in the device's time zone; "" for a message without a date.
  void setPushTimeForMessage(const std::shared_ptr<ZNInboxModel>& message);

  std::shared_ptr<UILabel> notificationTitleTextLabel() const { return notificationTitleTextLabel_.lock(); }
  std::shared_ptr<UILabel> notificationTextLabel() const { return notificationTextLabel_.lock(); }
  std::shared_ptr<UILabel> dateLabelTextLabel() const { return dateLabelTextLabel_.lock(); }

  void connectOutlet(const std::string& name, const std::shared_ptr<UIView>& view) override;
  void awakeFromNib() override;     ///< throws zn::Exception where the message or the date has no label
  void prepareForReuse() override;  ///< empty, and looking as the storyboard says

 private:
  std::weak_ptr<UILabel> notificationTitleTextLabel_;
  std::weak_ptr<UILabel> notificationTextLabel_;
  std::weak_ptr<UILabel> dateLabelTextLabel_;

  struct Look {
    std::optional<UIColor> background;
    std::optional<UIColor> messageColor;
    std::optional<UIColor> dateColor;
    std::optional<UIFont> dateFont;
  };
  Look storyboardLook_;
};
