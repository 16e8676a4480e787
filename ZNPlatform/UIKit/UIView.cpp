#include "ZNPlatform/UIKit/UIView.h"

#include "ZNPlatform/Foundation/Exception.h"

void UIView::addSubview(const std::shared_ptr<UIView>& view) {
  if (!view) return;
  const auto self = shared_from_this();
  for (auto above = self; above; above = above->superview()) {
    if (above == view) throw zn::Exception("a view cannot lie on itself");
  }
  view->removeFromSuperview();
  subviews_.push_back(view);
  view->superview_ = self;
}

void UIView::removeFromSuperview() {
  const auto above = superview_.lock();
  superview_.reset();
  if (!above) return;
  const auto self = shared_from_this();  // the superview may be its only owner
  std::erase(above->subviews_, self);
}
