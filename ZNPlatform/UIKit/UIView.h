#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/UIKit/UIColor.h"

/// A rectangle in points, from the upper left corner.
struct CGRect {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  friend bool operator==(const CGRect&, const CGRect&) = default;
};

/// A part of a screen: where it is, its background and what lies on it. Views are a model only: nothing here draws. A
/// device, or a host with a toolkit of its own, walks over the views of a screen and draws them.
///
/// Ownership: std::shared_ptr; a view owns its subviews and holds its superview weakly. Thread: the main thread.
class ZN_EXPORT UIView : public std::enable_shared_from_this<UIView> {
 public:
  UIView() = default;
  virtual ~UIView() = default;
  UIView(const UIView&) = delete;
  UIView& operator=(const UIView&) = delete;

  const CGRect& frame() const { return frame_; }  ///< in the superview's coordinates
  void setFrame(const CGRect& frame) { frame_ = frame; }
  const std::optional<UIColor>& backgroundColor() const { return backgroundColor_; }  ///< none: as what lies beneath
  void setBackgroundColor(const std::optional<UIColor>& color) { backgroundColor_ = color; }

  /// `addSubview:`: above the others. A view that lies on another one leaves that first; null does nothing. Throws
  /// zn::Exception for a view that this one lies on.
  void addSubview(const std::shared_ptr<UIView>& view);
  /// `removeFromSuperview`
  void removeFromSuperview();
  const std::vector<std::shared_ptr<UIView>>& subviews() const { return subviews_; }  ///< the uppermost last
  std::shared_ptr<UIView> superview() const { return superview_.lock(); }

  /// Inside a UIStackView: it takes no more room along the stack's axis than its contents need, and leaves the rest to
  /// the others.
  bool hugsContent() const { return hugsContent_; }
  void setHugsContent(bool hugs) { hugsContent_ = hugs; }

 private:
  CGRect frame_;
  std::optional<UIColor> backgroundColor_;
  std::vector<std::shared_ptr<UIView>> subviews_;
  std::weak_ptr<UIView> superview_;
  bool hugsContent_ = false;
};

enum class UILayoutConstraintAxis { horizontal = 0, vertical = 1 };

struct UIEdgeInsets {
  double top = 0;
  double left = 0;
  double bottom = 0;
  double right = 0;
  friend bool operator==(const UIEdgeInsets&, const UIEdgeInsets&) = default;
};

/// Lays its subviews out in a row or a column, in their order: `spacing` points between them, the margins around them,
/// as high as they need and as wide as the stack is.
class ZN_EXPORT UIStackView : public UIView {
 public:
  UILayoutConstraintAxis axis() const { return axis_; }
  void setAxis(UILayoutConstraintAxis axis) { axis_ = axis; }
  double spacing() const { return spacing_; }
  void setSpacing(double spacing) { spacing_ = spacing; }
  const UIEdgeInsets& layoutMargins() const { return layoutMargins_; }
  void setLayoutMargins(const UIEdgeInsets& margins) { layoutMargins_ = margins; }

 private:
  UILayoutConstraintAxis axis_ = UILayoutConstraintAxis::horizontal;
  double spacing_ = 0;
  UIEdgeInsets layoutMargins_;
};
