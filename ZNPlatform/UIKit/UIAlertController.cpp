#include "ZNPlatform/UIKit/UIAlertController.h"

#include <utility>

#include "ZNPlatform/Device.h"

UIAlertAction::UIAlertAction(std::string title, Style style, Handler handler)
    : title_(std::move(title)), style_(style), handler_(std::move(handler)) {}

std::shared_ptr<UIAlertAction> UIAlertAction::actionWithTitle(std::string title, Style style, Handler handler) {
  return std::make_shared<UIAlertAction>(std::move(title), style, std::move(handler));
}

void UIAlertAction::perform() const {
  if (handler_) handler_(*this);
}

UIAlertController::UIAlertController(std::string message, Style preferredStyle)
    : message_(std::move(message)), preferredStyle_(preferredStyle) {}

std::shared_ptr<UIAlertController> UIAlertController::alertControllerWithTitle(const std::string& title,
                                                                               std::string message,
                                                                               Style preferredStyle) {
  const auto alert = std::make_shared<UIAlertController>(std::move(message), preferredStyle);
  alert->setTitle(title);
  return alert;
}

bool UIAlertController::isAvailable() { return zn::Device::current().screen->showsAlerts(); }
