#pragma once

#include <memory>
#include <string>
#include <vector>

#include "ZNDevices/Simulator/Effects_p.h"
#include "ZNPlatform/Device.h"
#include "ZNPlatform/UIKit/UIAlertController.h"

namespace zn {

/// Shows links and alerts as effects. The host's own screen is one empty view controller, below every alert. Thread:
/// the main thread.
class SimulatedScreen : public DeviceScreen {
 public:
  explicit SimulatedScreen(EffectSinkPtr effects) : effects_(std::move(effects)) {}

  void openLink(LinkKind kind, const std::string& url) override;
  bool showsAlerts() const override { return true; }
  void present(const std::shared_ptr<UIViewController>& controller, bool animated) override;
  std::shared_ptr<UIViewController> topMostViewController() const override;
  void setPasteboard(const std::string& text) override;

  /// The user presses the button with that title of the newest alert, which closes; false when there is no such alert
  /// or button. An exception that leaves the button's work goes to `log`.
  bool press(const std::string& title, DeviceSystemLog& log);

 private:
  const EffectSinkPtr effects_;
  const std::shared_ptr<UIViewController> hostScreen_ = std::make_shared<UIViewController>();
  std::vector<std::shared_ptr<UIAlertController>> alerts_;  // the newest last
};

}  // namespace zn
