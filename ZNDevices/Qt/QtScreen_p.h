#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "ZNDevices/Qt/AlertWindow_p.h"
#include "ZNPlatform/Device.h"

namespace zn {
class ScreenWidget;
}  // namespace zn

namespace zn::qt {

/// Whether the user can see a window of this application: one that is neither hidden nor minimised.
bool hasVisibleWindow();

/// What is presented, as windows. Thread: the main thread. It may be asked after the QApplication has gone.
class QtScreen : public DeviceScreen {
 public:
  /// `links` opens links.
  explicit QtScreen(std::unique_ptr<DeviceScreen> links) : links_(std::move(links)) {}

  void openLink(LinkKind kind, const std::string& url) override { links_->openLink(kind, url); }
  bool showsAlerts() const override { return true; }
  void present(const std::shared_ptr<UIViewController>& controller, bool animated) override;
  std::shared_ptr<UIViewController> topMostViewController() const override;
  void setPasteboard(const std::string& text) override;

 private:
  void showNextAlert();

  const std::unique_ptr<DeviceScreen> links_;
  std::deque<std::shared_ptr<UIAlertController>> alerts_;  // the first one is shown, the others wait
  /// Stands for windows that are drawn by the host itself.
  const std::shared_ptr<UIViewController> hostScreen_ = std::make_shared<UIViewController>();
};

}  // namespace zn::qt
