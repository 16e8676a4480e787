#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxViewController.h"

#include <algorithm>

#include "ZNMessaging/Constants/ZNInboxExposedConstants.h"
#include "ZNMessaging/ZNInbox/ZNInbox.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ScreenGuard_p.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Exception.h"

using zn::kScreenFailure;

namespace {

constexpr const char* kCellWithTitle = "InboxCell1";
constexpr const char* kCellWithoutTitle = "InboxCell2";

/// Whether a synchronisation put a new entry in the store in this one's place, and that one is read.
bool isReplacedByReadEntry(const std::shared_ptr<ZNInboxModel>& entry) {
  const zn::InboxListPtr list = ZNInboxHandler::sharedInstance()->getAllNotificationModelObjs();
  if (!entry->campaignID() || std::find(list->begin(), list->end(), entry) != list->end()) return false;
  const auto found =
      std::find_if(list->begin(), list->end(), [&](const auto& each) { return each->isOfSameCampaign(*entry); });
  return found != list->end() && (*found)->isRead();
}

}  // namespace

ZNInboxCellSelectedDelegate::~ZNInboxCellSelectedDelegate() = default;
void ZNInboxCellSelectedDelegate::inboxCellSelectedWithData(const zn::Value&) {}
void ZNInboxCellSelectedDelegate::inboxCellSelectedWithPushDict(const zn::Value&) {}

void ZNInboxViewController::connectOutlet(const std::string& name, const std::shared_ptr<UIView>& view) {
  const auto table = std::dynamic_pointer_cast<UITableView>(view);
  if (!table || name != "inboxTableView") return UIViewController::connectOutlet(name, view);
  inboxTableView_ = table;
}

void ZNInboxViewController::awakeFromNib() {
  const auto table = inboxTableView();
  if (!table) throw zn::Exception("the inbox screen has no table");
  for (const char* identifier : {kCellWithTitle, kCellWithoutTitle}) {
    if (!table->hasCell(identifier)) throw zn::Exception(std::string("the inbox screen has no cell ") + identifier);
  }
  const auto self = std::static_pointer_cast<ZNInboxViewController>(shared_from_this());
  table->setDataSource(self);
  table->setDelegate(self);
}

void ZNInboxViewController::viewDidLoad() {
  zn::guardedOnScreen(kScreenFailure, [&] {
    setTitle(inboxTitle_ ? inboxTitle_ : zn::Value("Inbox"));
    inboxMessagesArray_ = *ZNInboxHandler::sharedInstance()->getAllNotificationModelObjs();
    if (const auto table = inboxTableView()) {
      table->setEstimatedRowHeight(100);
      table->setRowHeight(UITableView::automaticDimension);
    }
    checkInboxMessagesCount();
  });
}

void ZNInboxViewController::viewWillAppear(bool) {
  const auto table = inboxTableView();
  if (table && tableBackgroundColor_) table->setBackgroundColor(tableBackgroundColor_);
}

void ZNInboxViewController::setInboxTitle(const zn::Value& title) {
  inboxTitle_ = title;
  if (isViewLoaded()) setTitle(inboxTitle_ ? inboxTitle_ : zn::Value("Inbox"));
}

void ZNInboxViewController::checkInboxMessagesCount() {
  const auto table = inboxTableView();
  if (!inboxMessagesArray_.empty()) {
    if (table) table->reloadData();
    return;
  }
  if (table) table->removeFromSuperview();
  const auto screen = view();
  const CGRect frame = screen->frame();
  const auto label = std::make_shared<UILabel>();
  label->setFrame({frame.width / 4, frame.height / 2 - 25, frame.width / 2, 50});
  label->setTextAlignment(NSTextAlignment::center);
  label->setNumberOfLines(2);
  label->setText("You have no messages");
  screen->addSubview(label);
}

void ZNInboxViewController::customiseInboxWithCellTextColor(const std::optional<UIColor>& cellTextColor,
                                                            const std::optional<UIFont>& fontForReadMsg,
                                                            const std::optional<UIFont>& fontForUnreadMsg,
                                                            const std::optional<UIColor>& dateTextColor,
                                                            const std::optional<UIFont>& font,
                                                            const std::optional<UIColor>& cellBackgroundColor) {
  setNotificationTextLabelColor(cellTextColor);
  setNotificationTextLabelFont(fontForReadMsg);
  setNotificationTextLabelUnreadFont(fontForUnreadMsg);
  setDateTextLabelColor(dateTextColor);
  setDateTextLabelFont(font);
  setCellBackgroundColor(cellBackgroundColor);
}

UIFont ZNInboxViewController::messageFont(bool isRead) const {
  return isRead ? notificationTextLabelFont_.value_or(ZNInboxHandler::defaultTextFont())
                : notificationTextLabelUnreadFont_.value_or(ZNInboxHandler::defaultUnreadTextFont());
}

UIFont ZNInboxViewController::getCellFontForDict(const zn::Value& entry) const {
  return messageFont(
      zn::guardedOnScreen(kScreenFailure, [&] { return entry.validObjectForKey(ZN_PUSH_IS_READ).boolValue(); }));
}

void ZNInboxViewController::setPropertiesForCell(const std::shared_ptr<ZNInboxTableViewCell>& cell, bool isRead) const {
  if (!cell) return;
  if (cellBackgroundColor_) cell->setBackgroundColor(cellBackgroundColor_);
  if (const auto label = cell->notificationTextLabel()) {
    if (notificationTextLabelColor_) label->setTextColor(notificationTextLabelColor_);
    label->setFont(messageFont(isRead));
  }
  if (const auto label = cell->dateLabelTextLabel()) {
    if (dateTextLabelColor_) label->setTextColor(dateTextLabelColor_);
    if (dateTextLabelFont_) label->setFont(dateTextLabelFont_);
  }
}

ZNInboxViewController::Entry ZNInboxViewController::entryAt(const NSIndexPath& indexPath) const {
  const bool isThere = indexPath.section == 0 && indexPath.row >= 0 &&
                       static_cast<std::size_t>(indexPath.row) < inboxMessagesArray_.size();
  return isThere ? inboxMessagesArray_[static_cast<std::size_t>(indexPath.row)] : nullptr;
}

std::optional<NSIndexPath> ZNInboxViewController::rowOf(const Entry& entry) const {
  const auto found = std::find(inboxMessagesArray_.begin(), inboxMessagesArray_.end(), entry);
  if (found == inboxMessagesArray_.end()) return std::nullopt;
  return NSIndexPath::indexPathForRow(found - inboxMessagesArray_.begin(), 0);
}

long ZNInboxViewController::numberOfRowsInSection(const std::shared_ptr<UITableView>&, long section) {
  return section == 0 ? static_cast<long>(inboxMessagesArray_.size()) : 0;
}

std::shared_ptr<UITableViewCell> ZNInboxViewController::cellForRowAtIndexPath(
    const std::shared_ptr<UITableView>& tableView, const NSIndexPath& indexPath) {
  return zn::guardedOnScreen(kScreenFailure, [&]() -> std::shared_ptr<UITableViewCell> {
    const Entry entry = entryAt(indexPath);
    if (!entry || !tableView) return nullptr;
    // One for all screens and rows, and it never goes back: once a message without a title was shown, messages with
    // one are shown without it too. Hosts know their inbox that way.
    static const char* identifier = kCellWithTitle;
    if (!entry->notificationTitle()) identifier = kCellWithoutTitle;
    const auto cell =
        std::dynamic_pointer_cast<ZNInboxTableViewCell>(tableView->dequeueReusableCellWithIdentifier(identifier));
    if (!cell) return nullptr;
    setPropertiesForCell(cell, entry->isRead());
    cell->setDataWithMessage(entry);
    return cell;
  });
}

bool ZNInboxViewController::canEditRowAtIndexPath(const std::shared_ptr<UITableView>&, const NSIndexPath&) {
  return true;
}

void ZNInboxViewController::commitEditingStyle(const std::shared_ptr<UITableView>& tableView,
                                               UITableViewCellEditingStyle style, const NSIndexPath& indexPath) {
  zn::guardedOnScreen(kScreenFailure, [&] {
    const Entry entry = entryAt(indexPath);
    if (style != UITableViewCellEditingStyle::delete_ || !entry) return;
    ZNInbox::removeMessageWithCampaignID(entry->campaignID());
    const auto row = rowOf(entry);
    if (!row) return;
    inboxMessagesArray_.erase(inboxMessagesArray_.begin() + row->row);
    if (tableView) tableView->deleteRowsAtIndexPaths({*row}, UITableViewRowAnimation::fade);
  });
}

void ZNInboxViewController::didSelectRowAtIndexPath(const std::shared_ptr<UITableView>& tableView,
                                                    const NSIndexPath& indexPath) {
  zn::guardedOnScreen(kScreenFailure, [&] {
    const auto self = shared_from_this();  // the host may let go of the screen when it is told
    const Entry entry = entryAt(indexPath);
    if (!entry) return;
    const zn::Value campaignID = entry->campaignID();
    if (!entry->isRead()) markReadLater(entry);
    ZNInboxHandler::sharedInstance()->trackInboxNotificationClickForCampaignID(campaignID);
    if (shouldProcessNotificationActions_) ZNInbox::processInboxNotificationWithCampaignID(campaignID);
    tellDelegate(entry);
    const auto row = rowOf(entry);  // the host may have changed the rows
    if (row && tableView) tableView->deselectRowAtIndexPath(*row, true);
  });
}

void ZNInboxViewController::markReadLater(const Entry& entry) {
  const auto self = std::static_pointer_cast<ZNInboxViewController>(shared_from_this());
  zn::dispatchAsync(zn::Queue::main, [screen = std::weak_ptr<ZNInboxViewController>(self), entry] {
    ZNInboxHandler::sharedInstance()->markInboxNotificationReadForCampaignID(entry->campaignID());
    if (const auto shown = screen.lock()) shown->redraw(entry);
  });
}

void ZNInboxViewController::redraw(const Entry& entry) {
  zn::guardedOnScreen(kScreenFailure, [&] {
    const auto row = rowOf(entry);
    if (!row) return;
    if (isReplacedByReadEntry(entry)) entry->setIsRead(true);  // its text stays what the user tapped
    if (const auto table = inboxTableView()) {
      table->reloadRowsAtIndexPaths({*row}, UITableViewRowAnimation::automatic);
    }
  });
}

void ZNInboxViewController::tellDelegate(const Entry& entry) const {
  const auto told = delegate();
  if (!told) return;
  told->inboxCellSelectedWithData(entry->screenDataDict());
  told->inboxCellSelectedWithPushDict(entry->notificationPayloadDict());
}
