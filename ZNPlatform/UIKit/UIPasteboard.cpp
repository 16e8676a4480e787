#include "ZNPlatform/UIKit/UIPasteboard.h"

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"

const std::shared_ptr<UIPasteboard>& UIPasteboard::generalPasteboard() {
  static const zn::NeverDestroyed shared(std::make_shared<UIPasteboard>());
  return *shared;
}

void UIPasteboard::setString(const std::string& text) { zn::Device::current().screen->setPasteboard(text); }
