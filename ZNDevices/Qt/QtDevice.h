#pragma once

#include <memory>
#include <string>

#include "ZNDevices/Freedesktop/FreedesktopDevice.h"

class QWidget;

namespace zn {

/// The desktop session with Qt's windows: the Freedesktop device whose main queue runs on Qt's event loop, in nested
/// ones too (menus, dialogs), and which sleeps while there is nothing to do.
///
///     zn::QtDevice::Options options;
///     options.applicationID = "com.example.Shop";
///     if (zn::QtDevice::handOver(options)) return 0;  // before Qt takes away what the desktop gave for the activation
///     QApplication application(count, arguments);
///     const auto device = std::make_shared<zn::QtDevice>(options);
///     zn::Device::install(device);
///     …                  // configuration, delegates, initializeMessagingWithLaunchOptions, windows
///     device->start();
///     return application.exec();
///
/// The application is active while one of its windows has the focus. It enters the foreground when a window is shown,
/// or restored, and none was visible before. What the module presents becomes a window: alerts one after the other,
/// each closed by one of its buttons (Escape stands for the one that cancels), other controllers as they come. While no
/// window is visible, the module's alerts wait for one.
///
/// zn::InboxWindow shows the inbox, zn::ScreenWidget any other view controller.
///
/// Thread: made on the thread of the QApplication, after it; that is the main thread. Tasks of the main queue run while
/// Qt's event loop does. Lives until the process ends, once it is installed.
class ZN_EXPORT QtDevice : public FreedesktopDevice {
 public:
  /// The main queue is pumped, whatever the options say. Throws Exception without a QApplication or on another thread,
  /// and as FreedesktopDevice does. Until `setHost` names another one, the device is its own host: an activation raises
  /// the window that had the focus last, or else the first one.
  explicit QtDevice(Options options);
  ~QtDevice() override;

  /// Shows or restores a window, raises it and gives it the focus. `token` is what an activation brought: with it the
  /// desktop knows that the user wants that. Main thread.
  static void raise(QWidget& window, const std::string& token);

  void shutDown() override;

 private:
  struct Windows;
  const std::shared_ptr<Windows> windows_;
};

}  // namespace zn
