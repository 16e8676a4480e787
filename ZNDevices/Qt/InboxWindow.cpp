#include "ZNDevices/Qt/InboxWindow.h"

#include <QCoreApplication>
#include <QPointer>
#include <algorithm>
#include <utility>

#include "ZNDevices/Qt/Callbacks_p.h"
#include "ZNDevices/Qt/TableWidget_p.h"
#include "ZNMessaging/ZNInbox/ZNInbox.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxViewController.h"

namespace zn {

namespace {

constexpr int kNarrowest = 240;

QEvent::Type updateEvent() {
  static const auto type = static_cast<QEvent::Type>(QEvent::registerEventType());
  return type;
}

/// Where an entry is now, or the newer one of its campaign; -1: nowhere.
long rowOf(const std::shared_ptr<ZNInboxModel>& entry, const InboxList& list) {
  if (!entry) return -1;
  auto found = std::find(list.begin(), list.end(), entry);
  if (found == list.end()) {
    found = std::find_if(list.begin(), list.end(), [&](const auto& each) { return each->isOfSameCampaign(*entry); });
  }
  return found == list.end() ? -1 : found - list.begin();
}

std::shared_ptr<ZNInboxModel> entryAt(long row, const InboxList& list) {
  const bool isThere = row >= 0 && static_cast<std::size_t>(row) < list.size();
  return isThere ? list[static_cast<std::size_t>(row)] : nullptr;
}

/// The same place in the list as it is now. At the very top it stays at the top, so that what is new is seen.
qt::TableWidget::Place moved(const qt::TableWidget::Place& place, const InboxList& before, const InboxList& after) {
  qt::TableWidget::Place moved = place;
  moved.current = rowOf(entryAt(place.current, before), after);
  if (moved.current < 0 && place.current >= 0) {
    moved.current = std::min(place.current, static_cast<long>(after.size()) - 1);
  }
  if (place.row == 0 && place.above <= 0) return moved;
  const long row = rowOf(entryAt(place.row, before), after);
  if (row >= 0) moved.row = row;
  return moved;
}

}  // namespace

/// Many changes at once are one update.
class InboxWindow::Observer : public InboxObserver {
 public:
  explicit Observer(InboxWindow* window) : window_(window) {}
  void inboxChanged(const InboxChange&) override {
    if (window_) window_->inboxChanged();
  }

 private:
  const QPointer<InboxWindow> window_;
};

InboxWindow::InboxWindow(Customise customise, QWidget* parent)
    : ScreenWidget(nullptr, parent), customise_(std::move(customise)), observer_(std::make_shared<Observer>(this)) {
  setMinimumWidth(kNarrowest);
  ZNInboxHandler::sharedInstance()->addObserver(observer_);
  open();
}

InboxWindow::~InboxWindow() { ZNInboxHandler::sharedInstance()->removeObserver(observer_); }

std::shared_ptr<ZNInboxViewController> InboxWindow::inbox() const {
  return std::static_pointer_cast<ZNInboxViewController>(controller());
}

void InboxWindow::open() {
  const auto screen = ZNInbox::initializeInboxOnController(nullptr);
  if (!screen) return setController(nullptr);
  if (customise_) qt::guardedCall([&] { customise_(*screen); });
  setController(screen);
  markRows();
}

void InboxWindow::markRows() {
  qt::TableWidget* const list = table();
  if (!list) return;
  list->setMarks(
      [this](long row) {
        const auto entry = inbox() ? entryAt(row, inbox()->inboxMessagesArray()) : nullptr;
        return entry && !entry->isRead();
      },
      QCoreApplication::translate("zn::InboxWindow", "Unread"));
}

void InboxWindow::restyle() {
  const auto screen = inbox();
  if (!screen) return open();
  if (customise_) qt::guardedCall([&] { customise_(*screen); });
  appear();
  if (const auto rows = screen->inboxTableView()) rows->reloadData();
  refresh();
}

void InboxWindow::inboxChanged() {
  if (!std::exchange(updateIsQueued_, true)) QCoreApplication::postEvent(this, new QEvent(updateEvent()));
}

bool InboxWindow::event(QEvent* event) {
  if (event->type() != updateEvent()) return ScreenWidget::event(event);
  updateIsQueued_ = false;
  takeOver();
  return true;
}

void InboxWindow::showEvent(QShowEvent* event) {
  if (!inbox()) open();  // the account may have become active
  ScreenWidget::showEvent(event);
}

/// Shows what the inbox holds now. The controller's list is that of the moment when it was loaded.
void InboxWindow::takeOver() {
  const InboxListPtr now = ZNInboxHandler::sharedInstance()->getAllNotificationModelObjs();
  const auto screen = inbox();
  const auto rows = screen ? screen->inboxTableView() : nullptr;
  qt::TableWidget* const list = table();
  if (!list || !rows || now->empty()) {
    const bool hadFocus = hasFocus() || (list && list->hasFocus());
    open();
    if (hadFocus) setFocus();
    return;
  }
  const InboxList before = screen->inboxMessagesArray();
  if (before == *now) return list->redrawRows();
  const auto place = list->place();
  screen->setInboxMessagesArray(*now);
  rows->reloadData();
  list->setPlace(moved(place, before, *now));
}

}  // namespace zn
