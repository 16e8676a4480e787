#include "ZNPlatform/UIKit/UIAlertController.h"

#include "ZNPlatform/Device.h"

std::shared_ptr<UIAlertController> UIAlertController::alertControllerWithTitle(const std::string& title,
                                                                               std::string message,
                                                                               Style preferredStyle) {
  const auto alert = std::make_shared<UIAlertController>(std::move(message), preferredStyle);
  alert->setTitle(title);
  return alert;
}

bool UIAlertController::isAvailable() { return zn::Device::current().screen->showsAlerts(); }
