#include "ZNDevices/Qt/QtDevice.h"

#include <QApplication>
#include <QPointer>
#include <QSocketNotifier>
#include <QThread>
#include <QWidget>
#include <QWindow>
#include <algorithm>

#include "ZNDevices/Qt/QtScreen_p.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zn {

namespace {

FreedesktopDevice::Options pumped(FreedesktopDevice::Options options) {
  if (!qobject_cast<QApplication*>(QCoreApplication::instance())) throw Exception("a QtDevice needs a QApplication");
  if (QThread::currentThread() != qApp->thread()) throw Exception("a QtDevice is made on the QApplication's thread");
  options.mainQueue = HeadlessDevice::MainQueue::pumped;
  return options;
}

QWidget* widgetOf(const QWindow* window) {
  for (QWidget* each : QApplication::topLevelWidgets()) {
    if (window && each->windowHandle() == window) return each;
  }
  return nullptr;
}

QWidget* firstWindow() {
  const QWidgetList all = QApplication::topLevelWidgets();
  const auto found =
      std::find_if(all.begin(), all.end(), [](QWidget* each) { return each->windowType() == Qt::Window; });
  return found == all.end() ? nullptr : *found;
}

}  // namespace

/// Watches Qt's windows for the device, and pumps its main queue. As an event filter it sees every event of the
/// process, and asks only for those after which another number of windows may be visible.
struct QtDevice::Windows : QObject, DesktopHost {
  explicit Windows(QtDevice& device) : owner(device), notifier(device.wakeDescriptor(), QSocketNotifier::Read) {
    connect(&notifier, &QSocketNotifier::activated, this, [this] { owner.runPending(); });
    connect(qApp, &QGuiApplication::applicationStateChanged, this, [this] { tellState(); });
    connect(qApp, &QGuiApplication::focusWindowChanged, this, [this](QWindow* window) {
      if (window && window->type() == Qt::Window) lastFocused = window;
    });
    qApp->installEventFilter(this);
    hasVisible = qt::hasVisibleWindow();
    tellState();
  }

  bool eventFilter(QObject* object, QEvent* event) override {
    const QEvent::Type type = event->type();
    const bool isShown = (type == QEvent::Show || type == QEvent::Hide) && object->isWindowType();
    if (isShown || type == QEvent::WindowStateChange) {
      const bool had = std::exchange(hasVisible, qt::hasVisibleWindow());
      if (hasVisible != had) tellState();
      // Later: whoever hears of it may do much, and the window shall be seen first.
      if (hasVisible && !had) owner.queues->async(Queue::main, [this] { owner.enterForeground(); });
    }
    return false;
  }

  void tellState() {
    // Not every platform says that the focus went with the last window.
    const bool isActive = hasVisible && QGuiApplication::applicationState() == Qt::ApplicationActive;
    owner.setApplicationState(isActive ? UIApplicationState::active : UIApplicationState::background);
  }

  void activate(const std::string& token) override {
    QWidget* window = widgetOf(lastFocused);
    if (!window) window = firstWindow();
    if (window) raise(*window, token);
  }

  QtDevice& owner;
  QSocketNotifier notifier;
  QPointer<QWindow> lastFocused;
  bool hasVisible = false;
};

QtDevice::QtDevice(Options options)
    : FreedesktopDevice(pumped(std::move(options))), windows_(std::make_shared<Windows>(*this)) {
  screen = std::make_unique<qt::QtScreen>(std::move(screen));
  setHost(windows_);
}

QtDevice::~QtDevice() = default;

void QtDevice::raise(QWidget& window, const std::string& token) {
  if (!token.empty()) {
    // Qt's platforms read them when a window asks for the focus, or is shown first.
    qputenv("XDG_ACTIVATION_TOKEN", QByteArray::fromStdString(token));
    qputenv("DESKTOP_STARTUP_ID", QByteArray::fromStdString(token));
  }
  window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
  window.show();
  window.raise();
  window.activateWindow();
}

void QtDevice::shutDown() {
  if (QCoreApplication::instance() && QThread::currentThread() == qApp->thread()) windows_->notifier.setEnabled(false);
  FreedesktopDevice::shutDown();
}

}  // namespace zn
