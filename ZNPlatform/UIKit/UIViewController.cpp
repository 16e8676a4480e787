#include "ZNPlatform/UIKit/UIViewController.h"

#include <utility>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Exception.h"

std::shared_ptr<UIView> UIViewController::view() {
  if (!view_) {
    loadView();
    viewDidLoad();
  }
  return view_;
}

void UIViewController::loadView() {
  auto made = std::exchange(storyboardView_, nullptr);
  setView(made ? std::move(made) : std::make_shared<UIView>());
}

void UIViewController::addChildViewController(const std::shared_ptr<UIViewController>& child) {
  if (!child || child.get() == this) return;
  child->removeFromParentViewController();
  children_.push_back(child);
  child->parent_ = weak_from_this();
}

void UIViewController::removeFromParentViewController() {
  const auto parent = std::exchange(parent_, {}).lock();
  if (parent) std::erase(parent->children_, shared_from_this());
}

void UIViewController::presentViewController(const std::shared_ptr<UIViewController>& presented, bool animated,
                                             std::function<void()> completion) {
  zn::Device::current().screen->present(presented, animated);
  if (completion) completion();
}

void UIViewController::beginAppearance(bool animated) {
  view();
  viewWillAppear(animated);
  const auto children = children_;  // each may leave while it is told
  for (const auto& child : children) child->beginAppearance(animated);
}

void UIViewController::connectOutlet(const std::string& name, const std::shared_ptr<UIView>&) {
  throw zn::Exception("the screen has no outlet \"" + name + "\"");
}
