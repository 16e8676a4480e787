#include "ZNDevices/Qt/QtScreen_p.h"

#include <QApplication>
#include <QClipboard>
#include <QWindow>
#include <algorithm>

#include "ZNDevices/Qt/Callbacks_p.h"
#include "ZNDevices/Qt/Look_p.h"
#include "ZNDevices/Qt/ScreenWidget.h"

namespace zn::qt {

bool hasVisibleWindow() {
  const QWindowList all = QGuiApplication::topLevelWindows();
  return std::any_of(all.begin(), all.end(), [](const QWindow* each) {
    const bool isOfUser = each->type() == Qt::Window || each->type() == Qt::Dialog || each->type() == Qt::Sheet;
    return isOfUser && each->isVisible() && !(each->windowStates() & Qt::WindowMinimized);
  });
}

void QtScreen::present(const std::shared_ptr<UIViewController>& controller, bool /*animated*/) {
  if (!controller || !QCoreApplication::instance()) return;
  if (const auto alert = std::dynamic_pointer_cast<UIAlertController>(controller)) {
    alerts_.push_back(alert);
    if (alerts_.size() == 1) showNextAlert();
    return;
  }
  auto* window = new ScreenWidget(controller);
  window->setAttribute(Qt::WA_DeleteOnClose);
  const CGRect frame = guardedCall([&] { return controller->view()->frame(); });
  if (frame.width > 0 && frame.height > 0)
    window->resize((QSizeF(frame.width, frame.height) * settingOf(*window).scale).toSize());
  window->show();
}

void QtScreen::showNextAlert() {
  if (alerts_.empty() || !QCoreApplication::instance()) return;
  auto* window = new AlertWindow(*alerts_.front(), [this](const std::shared_ptr<UIAlertAction>& chosen) {
    // Held until its work is done, so that what the work presents comes after those that wait.
    if (chosen) runTask([&] { chosen->perform(); }, *Device::current().systemLog);
    alerts_.pop_front();
    showNextAlert();
  });
  window->open();
}

std::shared_ptr<UIViewController> QtScreen::topMostViewController() const {
  if (!alerts_.empty()) return alerts_.front();
  if (!QCoreApplication::instance() || !hasVisibleWindow()) return nullptr;
  const auto* screen = dynamic_cast<const ScreenWidget*>(QApplication::activeWindow());
  return screen && screen->controller() ? screen->controller() : hostScreen_;
}

void QtScreen::setPasteboard(const std::string& text) {
  if (QCoreApplication::instance()) QGuiApplication::clipboard()->setText(QString::fromStdString(text));
}

}  // namespace zn::qt
