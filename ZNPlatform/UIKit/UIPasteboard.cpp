#include "ZNPlatform/UIKit/UIPasteboard.h"

#include "ZNPlatform/Device.h"

const std::shared_ptr<UIPasteboard>& UIPasteboard::generalPasteboard() {
  static const auto& shared = *new std::shared_ptr<UIPasteboard>(std::make_shared<UIPasteboard>());
  return shared;
}

void UIPasteboard::setString(const std::string& text) { zn::Device::current().screen->setPasteboard(text); }
