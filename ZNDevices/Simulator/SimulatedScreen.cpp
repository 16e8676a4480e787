#include "ZNDevices/Simulator/SimulatedScreen_p.h"

#include <algorithm>

namespace zn {

namespace {

Value buttonEffect(const UIAlertAction& action) {
  const char* style = action.style() == UIAlertAction::Style::cancel ? "cancel" : "default";
  return Value::dictionary({{"style", style}, {"title", action.title()}});
}

}  // namespace

void SimulatedScreen::openLink(LinkKind kind, const std::string& url) {
  effects_->emit("open", kind == LinkKind::deeplink ? "deeplink" : "landing", {{"url", url}});
}

void SimulatedScreen::present(const std::shared_ptr<UIViewController>& controller, bool) {
  const auto alert = std::dynamic_pointer_cast<UIAlertController>(controller);
  if (!alert) return;
  Value buttons = Value::array();
  for (const auto& action : alert->actions()) buttons.append(buttonEffect(*action));
  alerts_.push_back(alert);
  effects_->emit("alert", alert->title(), {{"buttons", buttons}, {"message", alert->message()}});
}

std::shared_ptr<UIViewController> SimulatedScreen::topMostViewController() const {
  return alerts_.empty() ? hostScreen_ : alerts_.back();
}

void SimulatedScreen::setPasteboard(const std::string& text) { effects_->emit("pasteboard", text); }

bool SimulatedScreen::press(const std::string& title, DeviceSystemLog& log) {
  if (alerts_.empty()) return false;
  const auto alert = alerts_.back();
  const auto action = std::find_if(alert->actions().begin(), alert->actions().end(),
                                   [&](const auto& each) { return each->title() == title; });
  if (action == alert->actions().end()) return false;
  alerts_.pop_back();
  runTask([&] { (*action)->perform(); }, log);
  return true;
}

}  // namespace zn
