#include "ZNDevices/Simulator/InboxScreen.h"

#include "ZNDevices/Simulator/Effects_p.h"
#include "ZNMessaging/ZNInbox/ZNInbox.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxViewController.h"
#include "ZNPlatform/Foundation/Format.h"

namespace zn {

namespace {

constexpr CGRect kDisplay{0, 0, 390, 844};

Value textOf(const std::shared_ptr<UILabel>& label) { return label ? orNull(label->text()) : Value::null(); }

Value fontOf(const std::shared_ptr<UILabel>& label) {
  if (!label || !label->font()) return Value::null();
  return label->font()->name + " " + numberText(label->font()->size);
}

Value shownCell(const std::shared_ptr<UITableViewCell>& shown) {
  const auto cell = std::dynamic_pointer_cast<ZNInboxTableViewCell>(shown);
  if (!cell) return Value::null();
  return Value::dictionary({{"body", textOf(cell->notificationTextLabel())},
                            {"cell", cell->reuseIdentifier()},
                            {"date", textOf(cell->dateLabelTextLabel())},
                            {"font", fontOf(cell->notificationTextLabel())},
                            {"title", textOf(cell->notificationTitleTextLabel())}});
}

}  // namespace

InboxScreen::InboxScreen(std::shared_ptr<UIViewController> host, std::shared_ptr<ZNInboxViewController> inbox)
    : host_(std::move(host)), inbox_(std::move(inbox)) {}

std::shared_ptr<InboxScreen> InboxScreen::open() {
  const auto host = std::make_shared<UIViewController>();
  host->view()->setFrame(kDisplay);
  const auto inbox = ZNInbox::initializeInboxOnController(host);
  return inbox ? std::make_shared<InboxScreen>(host, inbox) : nullptr;
}

void InboxScreen::appear() { host_->beginAppearance(false); }

void InboxScreen::tapRow(long row) {
  if (const auto table = inbox_->inboxTableView()) table->tapRow(row);
}

void InboxScreen::deleteRow(long row) {
  if (const auto table = inbox_->inboxTableView()) table->swipeRowAway(row);
}

Value InboxScreen::shown() const {
  Value rows = Value::array();
  if (const auto table = inbox_->inboxTableView()) {
    table->reloadData();
    // One row is in sight at a time, so a long list needs no more cells than a short one.
    for (long row = 0; row < table->numberOfRows(); ++row) {
      for (const auto& cell : table->showRows(row, 1)) rows.append(shownCell(cell));
    }
  }
  Value label = Value::null();
  const auto view = inbox_->view();
  for (const auto& part : view->subviews()) {
    if (const auto found = std::dynamic_pointer_cast<UILabel>(part)) label = textOf(found);
  }
  return Value::dictionary({{"title", orNull(inbox_->title())}, {"rows", rows}, {"label", label}});
}

}  // namespace zn
