#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxTableViewCell.h"

#include "ZNMessaging/ZNInbox/ZNInbox.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ScreenGuard_p.h"
#include "ZNPlatform/Foundation/Exception.h"

void ZNInboxTableViewCell::setDataWithMessage(const std::shared_ptr<ZNInboxModel>& message) {
  zn::guardedOnScreen("Zintar - exception while setting data with message in inbox cell is %@", [&] {
    if (const auto label = notificationTextLabel()) {
      label->setNumberOfLines(0);
      label->setText(message ? message->notificationBody() : zn::nil);
    }
    if (const auto label = notificationTitleTextLabel()) {
      label->setText(message ? message->notificationTitle() : zn::nil);
    }
    setPushTimeForMessage(message);
  });
}

void ZNInboxTableViewCell::setPushTimeForMessage(const std::shared_ptr<ZNInboxModel>& message) {
  const auto label = dateLabelTextLabel();
  if (!label) return;
  const zn::Value received = message ? message->receivedDate() : zn::nil;
  label->setText(received.isDate() ? ZNInbox::dateFormatterWithFormat("dd-MMM").stringFromDate(received.date()) : "");
}

void ZNInboxTableViewCell::connectOutlet(const std::string& name, const std::shared_ptr<UIView>& view) {
  const auto label = std::dynamic_pointer_cast<UILabel>(view);
  if (label && name == "notificationTitleTextLabel") {
    notificationTitleTextLabel_ = label;
  } else if (label && name == "notificationTextLabel") {
    notificationTextLabel_ = label;
  } else if (label && name == "dateLabelTextLabel") {
    dateLabelTextLabel_ = label;
  } else {
    UITableViewCell::connectOutlet(name, view);
  }
}

void ZNInboxTableViewCell::awakeFromNib() {
  const auto message = notificationTextLabel();
  const auto date = dateLabelTextLabel();
  if (!message || !date) throw zn::Exception("an inbox cell needs a label for the message and one for the date");
  storyboardLook_ = {backgroundColor(), message->textColor(), date->textColor(), date->font()};
}

void ZNInboxTableViewCell::prepareForReuse() {
  setBackgroundColor(storyboardLook_.background);
  for (const auto& label : {notificationTitleTextLabel(), notificationTextLabel(), dateLabelTextLabel()}) {
    if (label) label->setText(zn::nil);
  }
  if (const auto label = notificationTextLabel()) label->setTextColor(storyboardLook_.messageColor);
  if (const auto label = dateLabelTextLabel()) {
    label->setTextColor(storyboardLook_.dateColor);
    label->setFont(storyboardLook_.dateFont);
  }
}
