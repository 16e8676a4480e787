#include "ZNDevices/Qt/QtDevice.h"

#include <gtest/gtest.h>

#include <QAbstractEventDispatcher>
#include <QAccessible>
#include <QClipboard>
#include <QDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <thread>

#include "Tests/Devices/DeviceContract.h"
#include "Tests/Devices/Qt/QtTestDevice.h"
#include "ZNDevices/Qt/InboxWindow.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/UIKit/UIAlertController.h"
#include "ZNPlatform/UIKit/UILabel.h"
#include "ZNPlatform/UIKit/UIPasteboard.h"

namespace {

using zn::Queue;
using zn::test::QtTestDevice;
using zn::test::runQtUntil;
using Strings = std::vector<std::string>;
using Style = UIAlertAction::Style;

class QtContract final : public zn::test::ContractDevice {
 public:
  std::shared_ptr<zn::Device> device() override { return device_.device(); }
  void start() override { device_.device()->start(); }
  void runUntil(const std::function<bool()>& done, double seconds) override { runQtUntil(done, seconds); }
  void settle() override { device_.device()->waitUntilIdle(); }

 private:
  QtTestDevice device_;
};

INSTANTIATE_TEST_SUITE_P(Qt, DeviceContract,
                         testing::Values(zn::test::DeviceKind{"eventLoop",
                                                              [] { return std::make_unique<QtContract>(); }}),
                         zn::test::nameOfKind);

class QtDeviceTest : public testing::Test {
 protected:
  QtDeviceTest() { zn::Device::install(device_.device()); }

  zn::QtDevice& device() { return *device_.device(); }
  static QDialog* alert() { return qobject_cast<QDialog*>(QApplication::activeWindow()); }
  static std::string text(const QString& text) { return text.toStdString(); }
  /// Presents an alert whose actions write down what happened.
  void present(const std::string& title, const std::vector<std::pair<std::string, Style>>& actions) {
    const auto made =
        UIAlertController::alertControllerWithTitle(title, "<b>x</b> &amp; y", UIAlertController::Style::alert);
    for (const auto& [name, style] : actions) {
      made->addAction(UIAlertAction::actionWithTitle(name, style, [this, title, name = name](const UIAlertAction&) {
        EXPECT_TRUE(zn::isMainThread());
        done_.push_back(title + ": " + name + (alert() ? " while it is shown" : ""));
        if (then) then();
      }));
    }
    device().screen->present(made, true);
  }
  bool waitForAlert(const std::string& title) {
    return runQtUntil([&] { return alert() && text(alert()->windowTitle()) == title; });
  }
  static void press(const char* name) {
    for (auto* button : alert()->findChildren<QPushButton*>()) {
      if (button->text() == QLatin1String(name)) return button->click();
    }
    ADD_FAILURE() << "no button " << name;
  }
  static void key(QWidget* widget, int key) {
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    QApplication::sendEvent(widget, &event);
  }

  QtTestDevice device_;
  Strings done_;
  std::function<void()> then;
};

TEST_F(QtDeviceTest, AlertsComeOneAfterTheOtherAndAreAnsweredOnceAfterTheyClosed) {
  present("First", {{"OK && more", Style::defaultStyle}, {"Never", Style::cancel}, {"Burn", Style::destructive}});
  present("Second", {{"Only", Style::defaultStyle}});
  ASSERT_TRUE(waitForAlert("First"));
  for (const auto* label : alert()->findChildren<QLabel*>()) EXPECT_EQ(label->textFormat(), Qt::PlainText);
  EXPECT_EQ(text(QAccessible::queryAccessibleInterface(alert())->text(QAccessible::Description)), "<b>x</b> &amp; y");
  EXPECT_TRUE(done_.empty());
  then = [&] {
    then = nullptr;
    present("Third", {{"Yes", Style::defaultStyle}, {"No", Style::defaultStyle}});
    throw zn::Exception("of a handler");
  };
  QDialog* const first = alert();
  key(first, Qt::Key_Escape);
  key(first, Qt::Key_Escape);
  ASSERT_TRUE(waitForAlert("Second"));
  EXPECT_EQ(done_, Strings{"First: Never"});
  const Strings log = device_.log().take();
  ASSERT_EQ(log.size(), 1u);
  EXPECT_NE(log[0].find("of a handler"), std::string::npos);
  alert()->close();
  ASSERT_TRUE(waitForAlert("Third"));
  key(alert(), Qt::Key_Escape);  // nothing says what that would mean
  alert()->close();
  EXPECT_TRUE(alert() && alert()->isVisible());
  press("Yes");
  ASSERT_TRUE(runQtUntil([&] { return done_.size() == 3; }));
  EXPECT_EQ(done_, (Strings{"First: Never", "Second: Only", "Third: Yes"}));
}

TEST_F(QtDeviceTest, WhatIsPresentedIsOnTopAndThereIsNoTopWithoutAWindow) {
  EXPECT_FALSE(device().screen->topMostViewController());
  QWidget hostWindow;
  hostWindow.show();
  EXPECT_TRUE(device().screen->topMostViewController());
  hostWindow.showMinimized();
  ASSERT_TRUE(runQtUntil([&] { return !device().screen->topMostViewController(); })) << "nobody would see an alert";
  const auto screen = std::make_shared<UIViewController>();
  screen->setTitle("A screen of the host");
  screen->view()->setFrame({0, 0, 300, 200});
  const auto label = std::make_shared<UILabel>();
  label->setFrame({50, 75, 200, 50});
  label->setText("<i>Hello</i>");
  screen->view()->addSubview(label);
  device().screen->present(screen, false);
  ASSERT_TRUE(runQtUntil([&] { return device().screen->topMostViewController() == screen; }));
  QWidget* const window = QApplication::activeWindow();
  EXPECT_EQ(window->size(), QSize(300, 200));
  const auto* accessible = QAccessible::queryAccessibleInterface(window);
  ASSERT_EQ(accessible->childCount(), 1);
  EXPECT_EQ(accessible->child(0)->role(), QAccessible::StaticText);
  EXPECT_EQ(text(accessible->child(0)->text(QAccessible::Name)), "<i>Hello</i>");
  key(window, Qt::Key_Escape);
  EXPECT_FALSE(window->isVisible());
  UIPasteboard::generalPasteboard()->setString("copied <b>");
  EXPECT_EQ(text(QGuiApplication::clipboard()->text()), "copied <b>");
}

TEST_F(QtDeviceTest, TheForegroundIsEnteredWithTheFirstVisibleWindowNotWithFocus) {
  int entries = 0;
  const auto owner = std::make_shared<int>();
  NSNotificationCenter::defaultCenter()->addObserver(owner, UIApplicationWillEnterForegroundNotification,
                                                     [&](const NSNotification&) { ++entries; });
  const auto state = [] { return UIApplication::sharedApplication()->applicationState(); };
  EXPECT_EQ(state(), UIApplicationState::background);
  QWidget first;
  QWidget second;
  first.show();
  first.activateWindow();
  ASSERT_TRUE(runQtUntil([&] { return entries == 1 && state() == UIApplicationState::active; }));
  second.show();
  second.activateWindow();
  ASSERT_TRUE(runQtUntil([&] { return QApplication::activeWindow() == &second; }));
  first.hide();
  device().waitUntilIdle();
  EXPECT_EQ(entries, 1);
  second.showMinimized();
  ASSERT_TRUE(runQtUntil([&] { return !device().screen->topMostViewController(); }));
  first.show();
  ASSERT_TRUE(runQtUntil([&] { return entries == 2; }));
  first.close();
  ASSERT_TRUE(runQtUntil([&] { return state() == UIApplicationState::background; }));
  zn::QtDevice::raise(second, "token-1");
  ASSERT_TRUE(runQtUntil([&] { return entries == 3; })) << "restored";
  EXPECT_FALSE(second.isMinimized());
  EXPECT_EQ(qgetenv("XDG_ACTIVATION_TOKEN"), "token-1");
}

TEST_F(QtDeviceTest, TheMainQueueRunsInNestedEventLoopsAndSleepsOtherwise) {
  Strings order;
  std::thread other([&] {
    zn::dispatchAsync(Queue::main, [&] {
      QEventLoop nested;
      zn::dispatchAsync(Queue::main, [&] { order.push_back("inside"); });
      zn::dispatchAfter(Queue::main, 0.005, [&] { nested.quit(); });
      nested.exec();
      order.push_back("after it");
    });
    zn::dispatchAsync(Queue::main, [] { throw 42; });
  });
  ASSERT_TRUE(runQtUntil([&] { return order.size() == 2; }));
  other.join();
  EXPECT_EQ(order, (Strings{"inside", "after it"}));
  EXPECT_EQ(device_.log().take().size(), 1u) << "the exception";

  QWidget window;
  window.show();
  QCoreApplication::processEvents();
  device().waitUntilIdle();
  int wakes = 0;
  QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, &window, [&] { ++wakes; });
  QEventLoop idle;
  QTimer::singleShot(300, &idle, &QEventLoop::quit);
  idle.exec();
  EXPECT_LE(wakes, 4);
}

}  // namespace
