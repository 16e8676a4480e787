#include "ZNDevices/Qt/InboxWindow.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMouseEvent>
#include <QScrollBar>

#include "Tests/Devices/Qt/QtTestDevice.h"
#include "ZNDevices/Qt/TableWidget_p.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxViewController.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace {

using zn::Value;
using zn::qt::TableWidget;
using zn::test::runQtUntil;

class Opener : public ZNInboxCellSelectedDelegate {
 public:
  void inboxCellSelectedWithPushDict(const Value& payload) override {
    opened.emplace_back(payload.validObjectForKeyPath("zintar.cid").string());
    if (then) then();
  }
  std::vector<std::string> opened;
  std::function<void()> then;
};

class InboxWindowTest : public testing::Test {
 protected:
  InboxWindowTest() {
    zn::Device::install(device_.device());
    ZNConfigDataManager::sharedInstance()->apply(Value::dictionary({{"accountActive", true}}));
  }

  static Value message(int number, bool isRead = true) {
    const std::string text = std::to_string(number);
    const Value alert = Value::dictionary(
        {{"title", "Title " + text},
         {"body", number % 3 == 0 ? "Some <b>bold</b> words that take more than one line in a narrow window. " + text
                                  : "Body " + text}});
    return Value::dictionary(
        {{"data",
          Value::dictionary({{"aps", Value::dictionary({{"alert", alert}})},
                             {"zintar", Value::dictionary({{"cid", "c" + text}, {"inbox_expiry", 4102444800}})}})},
         {"c_cr_t", 1700000000 - number},
         {"isRead", isRead}});
  }
  /// Messages from `first` on, every third one unread.
  static void fill(int first, int count) {
    Value all = Value::array();
    for (int i = first; i < first + count; ++i) all.append(message(i, i % 3 != 1));
    inbox().resetInboxDataWithLegacyPayloadArray(all);
  }
  static ZNInboxHandler& inbox() { return *ZNInboxHandler::sharedInstance(); }

  void open(int width = 420) {
    window_ = std::make_unique<zn::InboxWindow>([this](ZNInboxViewController& screen) { screen.setDelegate(opener_); });
    window_->resize(width, 640);
    window_->show();
    window_->activateWindow();
    ASSERT_TRUE(runQtUntil([&] { return window_->isActiveWindow(); }));
    list().clearFocus();
    window_->setFocus(Qt::TabFocusReason);
  }
  TableWidget* found() {
    for (auto* each : window_->findChildren<QAbstractScrollArea*>()) {
      if (auto* const list = dynamic_cast<TableWidget*>(each)) return list;
    }
    return nullptr;
  }
  TableWidget& list() { return *found(); }
  bool hasList() { return found() != nullptr; }
  QAccessibleInterface* accessible() { return QAccessible::queryAccessibleInterface(&list()); }
  std::string nameOf(int row) { return accessible()->child(row)->text(QAccessible::Name).toStdString(); }

  void key(int key) {
    QWidget* target = QApplication::focusWidget() ? QApplication::focusWidget() : window_.get();
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(target, &event);
  }
  void mouse(QEvent::Type type, QPoint at) {
    QWidget* const target = list().viewport();
    const auto held = type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton;
    QMouseEvent event(type, QPointF(at), QPointF(target->mapToGlobal(at)), Qt::LeftButton, held, Qt::NoModifier);
    QApplication::sendEvent(target, &event);
  }
  void drag(QPoint from, int by) {
    mouse(QEvent::MouseButtonPress, from);
    for (int step = 1; step <= 4; ++step) mouse(QEvent::MouseMove, from + QPoint(by * step / 4, 1));
    mouse(QEvent::MouseButtonRelease, from + QPoint(by, 1));
  }
  QColor pixel(QPoint at) { return window_->grab().toImage().pixelColor(at); }

  zn::test::QtTestDevice device_;
  const std::shared_ptr<Opener> opener_ = std::make_shared<Opener>();
  std::unique_ptr<zn::InboxWindow> window_;
};

TEST_F(InboxWindowTest, KeysMoveOpenDeleteAndClose) {
  fill(0, 100);
  open();
  EXPECT_EQ(list().currentRow(), 0) << "the focus came by key";
  for (const auto& [pressed, row] : {std::pair(Qt::Key_Down, 1),
                                     {Qt::Key_End, 99},
                                     {Qt::Key_Down, 99},
                                     {Qt::Key_Up, 98},
                                     {Qt::Key_Home, 0},
                                     {Qt::Key_Up, 0}}) {
    key(pressed);
    EXPECT_EQ(list().currentRow(), row);
    const QRect seen = list().rectOf(row);
    EXPECT_TRUE(seen.height() > 30 && list().viewport()->geometry().contains(seen)) << row;
  }
  key(Qt::Key_PageDown);
  const long page = list().currentRow();
  EXPECT_TRUE(page >= 4 && page <= 12) << page;
  key(Qt::Key_PageUp);
  key(Qt::Key_Down);
  EXPECT_TRUE(list().isMarked(1));
  key(Qt::Key_Return);
  EXPECT_EQ(opener_->opened, std::vector<std::string>{"c1"});
  ASSERT_TRUE(runQtUntil([&] { return !list().isMarked(1) && nameOf(1).starts_with("Title 1"); }));
  key(Qt::Key_Delete);
  EXPECT_EQ(list().rows(), 99);
  EXPECT_EQ(inbox().getAllNotificationCount(), 99u);
  EXPECT_EQ(inbox().fetchInboxEntryForCampaignID("c1"), nullptr);
  EXPECT_EQ(list().currentRow(), 1);
  EXPECT_TRUE(nameOf(1).starts_with("Title 2")) << nameOf(1);
  key(Qt::Key_Escape);
  EXPECT_FALSE(window_->isVisible());
}

TEST_F(InboxWindowTest, TheMouseOpensDragsAwayAndHasAMenu) {
  fill(0, 10);
  open();
  const QPoint second = list().rectOf(1).center();
  mouse(QEvent::MouseButtonPress, second);
  mouse(QEvent::MouseButtonRelease, second);
  EXPECT_EQ(opener_->opened, std::vector<std::string>{"c1"});
  drag(second, -60);
  drag(second, 300);
  runQtUntil([] { return false; }, 0.4);
  EXPECT_EQ(list().rows(), 10) << "not far enough, and the wrong way";
  drag(second, -300);
  ASSERT_TRUE(runQtUntil([&] { return list().rows() == 9; }));
  EXPECT_EQ(inbox().fetchInboxEntryForCampaignID("c1"), nullptr);
  EXPECT_EQ(opener_->opened.size(), 1u) << "a drag opens nothing";

  QContextMenuEvent event(QContextMenuEvent::Mouse, second, list().viewport()->mapToGlobal(second));
  QApplication::sendEvent(list().viewport(), &event);
  auto* const menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
  ASSERT_TRUE(menu);
  ASSERT_EQ(menu->actions().size(), 2);
  menu->actions()[1]->trigger();
  EXPECT_EQ(inbox().fetchInboxEntryForCampaignID("c2"), nullptr);
  menu->close();

  opener_->then = [&] {
    window_.reset();  // as a host may, that shows the message instead
    throw zn::Exception("of the host");
  };
  key(Qt::Key_Home);
  key(Qt::Key_Return);
  EXPECT_FALSE(window_);
}

TEST_F(InboxWindowTest, ItFollowsTheInboxAndKeepsItsPlace) {
  fill(10, 200);
  open();
  list().setCurrentRow(100);
  const auto texts = list().textsOf(100);
  const int top = list().rectOf(100).top();
  fill(0, 210);
  ASSERT_TRUE(runQtUntil([&] { return list().rows() == 210; }));
  EXPECT_EQ(list().currentRow(), 110);
  EXPECT_EQ(list().textsOf(110), texts);
  EXPECT_EQ(list().rectOf(110).top(), top);
  key(Qt::Key_Home);
  fill(0, 5);
  ASSERT_TRUE(runQtUntil([&] { return list().rows() == 5; }));
  EXPECT_EQ(list().rectOf(0).top(), 0);
  inbox().markInboxNotificationReadForCampaignID("c1");
  ASSERT_TRUE(runQtUntil([&] { return !list().isMarked(1); })) << "by others";

  inbox().clearInboxData();
  ASSERT_TRUE(runQtUntil([&] { return !hasList(); }));
  const auto* empty = QAccessible::queryAccessibleInterface(window_.get());
  ASSERT_EQ(empty->childCount(), 1);
  EXPECT_EQ(empty->child(0)->text(QAccessible::Name).toStdString(), "You have no messages");
  fill(0, 3);
  ASSERT_TRUE(runQtUntil([&] { return hasList() && list().rows() == 3; }));
  key(Qt::Key_End);
  key(Qt::Key_Return);
  EXPECT_EQ(opener_->opened, std::vector<std::string>{"c2"}) << "with the delegate that the first screen had";
}

TEST_F(InboxWindowTest, AssistiveTechnologyFindsAListWithAllRows) {
  fill(0, 10000);
  open();
  ASSERT_EQ(accessible()->role(), QAccessible::List);
  ASSERT_EQ(accessible()->childCount(), 10000);
  EXPECT_EQ(accessible()->text(QAccessible::Name).toStdString(), "Inbox");
  QAccessibleInterface* row = accessible()->child(1);
  EXPECT_EQ(row->role(), QAccessible::ListItem);
  EXPECT_EQ(nameOf(1), "Unread, Title 1, 14-Nov, Body 1");
  EXPECT_EQ(nameOf(0), "Title 0, 14-Nov, Some <b>bold</b> words that take more than one line in a narrow window. 0");
  EXPECT_EQ(accessible()->indexOfChild(row), 1);
  EXPECT_EQ(accessible()->childAt(row->rect().center().x(), row->rect().center().y()), row);
  EXPECT_TRUE(accessible()->focusChild() == accessible()->child(0) && accessible()->child(0)->state().focused);

  QAccessibleInterface* far = accessible()->child(9000);
  EXPECT_TRUE(far->state().offscreen);
  EXPECT_EQ(nameOf(9000).substr(0, 10), "Title 9000");
  EXPECT_EQ(nameOf(1), "Unread, Title 1, 14-Nov, Body 1") << "those in sight are still there";
  far->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
  EXPECT_EQ(opener_->opened, std::vector<std::string>{"c9000"});
  EXPECT_FALSE(far->state().offscreen);
  fill(0, 5000);
  ASSERT_TRUE(runQtUntil([&] { return accessible()->childCount() == 5000; }));
  EXPECT_FALSE(far->isValid());
  EXPECT_TRUE(far->text(QAccessible::Name).isEmpty());
}

TEST_F(InboxWindowTest, ScrollingMovesWhatIsSeenByJustAsMuch) {
  fill(0, 1000);
  open();
  list().setCurrentRow(500);  // rows above were never measured
  QScrollBar* const bar = list().verticalScrollBar();
  for (const int step : {-7, -150, -80, -300, 120}) {
    const auto place = list().place();
    const QRect before = list().rectOf(place.row + 2);
    bar->setValue(bar->value() + step);
    const QRect after = list().rectOf(place.row + 2);
    if (after.isEmpty()) continue;
    EXPECT_EQ(after.top(), before.top() - step) << step;
  }
  bar->setValue(bar->maximum());
  EXPECT_EQ(list().rectOf(999).bottom(), list().viewport()->rect().bottom());
  bar->setValue(0);
  EXPECT_EQ(list().rectOf(0).top(), 0);
}

TEST_F(InboxWindowTest, ItFitsItsSurroundings) {
  fill(0, 8);
  open();
  const int right = list().viewport()->width() - 2;
  const QPoint corner(right, list().rectOf(1).top() + 4);
  EXPECT_EQ(pixel(corner), QColor("#FFFFFF"));
  const auto dotIsAt = [&](int x) {
    const QImage image = window_->grab().toImage();
    const QRect row = list().rectOf(1);
    for (int y = row.top(); y < row.bottom(); ++y) {
      if (image.pixelColor(x, y) == window_->palette().color(QPalette::Highlight)) return true;
    }
    return false;
  };
  EXPECT_TRUE(dotIsAt(8));
  QPalette dark;
  dark.setColor(QPalette::Window, Qt::black);
  dark.setColor(QPalette::WindowText, Qt::white);
  window_->setPalette(dark);
  EXPECT_EQ(pixel(corner), QColor("#1C1F22"));

  window_->setLayoutDirection(Qt::RightToLeft);
  EXPECT_TRUE(dotIsAt(window_->width() - 8));
  window_->setLayoutDirection(Qt::LeftToRight);

  window_->resize(320, 640);
  list().settle();
  const int narrow = list().rectOf(3).height();
  window_->resize(1600, 640);
  list().settle();
  EXPECT_LT(list().rectOf(3).height(), narrow) << "the text needs fewer lines";
  EXPECT_LE(list().rectOf(3).width(), 800);
  EXPECT_EQ(list().rectOf(3).center().x(), list().viewport()->rect().center().x());

  window_->inbox()->setCellBackgroundColor(UIColor::colorWithRGB(0x336699));
  window_->restyle();
  EXPECT_EQ(pixel(list().rectOf(1).topLeft() + QPoint(2, 2)), QColor("#336699"));
}

}  // namespace
