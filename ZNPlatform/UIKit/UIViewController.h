#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/UIKit/UIView.h"

/// One screen of the application, or a part of one: it owns a view, made on first use, and the controllers of the parts
/// that lie on it.
///
/// Ownership: std::shared_ptr; a controller owns its children and holds its parent weakly. Thread: the main thread.
class ZN_EXPORT UIViewController : public std::enable_shared_from_this<UIViewController> {
 public:
  UIViewController() = default;
  virtual ~UIViewController() = default;
  UIViewController(const UIViewController&) = delete;
  UIViewController& operator=(const UIViewController&) = delete;

  const zn::Value& title() const { return title_; }  ///< a string, or nil
  virtual void setTitle(const zn::Value& title) { title_ = title; }

  /// The screen's view. The first use makes it, with `loadView` and then `viewDidLoad`.
  std::shared_ptr<UIView> view();
  bool isViewLoaded() const { return view_ != nullptr; }
  void setView(const std::shared_ptr<UIView>& view) { view_ = view; }
  /// Makes the view: the one from the storyboard, or an empty one.
  virtual void loadView();
  virtual void viewDidLoad() {}                      ///< `viewDidLoad`: once, after the view was made
  virtual void viewWillAppear(bool /*animated*/) {}  ///< `viewWillAppear:`: before each time that the view is shown

  /// `addChildViewController:`: a child of another controller leaves that first; null does nothing. Adding its view,
  /// and `didMoveToParentViewController` afterwards, is the caller's.
  void addChildViewController(const std::shared_ptr<UIViewController>& child);
  /// `removeFromParentViewController`
  void removeFromParentViewController();
  /// `didMoveToParentViewController:`; null when it left its parent.
  virtual void didMoveToParentViewController(const std::shared_ptr<UIViewController>& /*parent*/) {}
  const std::vector<std::shared_ptr<UIViewController>>& childViewControllers() const { return children_; }
  std::shared_ptr<UIViewController> parentViewController() const { return parent_.lock(); }

  /// Whether a device may move a list below its bars by itself. Default true.
  bool automaticallyAdjustsScrollViewInsets() const { return automaticallyAdjustsScrollViewInsets_; }
  void setAutomaticallyAdjustsScrollViewInsets(bool adjusts) { automaticallyAdjustsScrollViewInsets_ = adjusts; }

  /// `presentViewController:animated:completion:`: hands the other one to the device's screen, which shows it above
  /// everything else. The completion, if given, is called once it is shown.
  void presentViewController(const std::shared_ptr<UIViewController>& presented, bool animated,
                             std::function<void()> completion);

  /// What a device calls before it shows the screen: `viewWillAppear` of this one and then of its children.
  void beginAppearance(bool animated);

  // What a storyboard calls.

  /// Takes a part of the view under the name by which the screen's class knows it. The base class has none: throws
  /// zn::Exception.
  virtual void connectOutlet(const std::string& name, const std::shared_ptr<UIView>& view);
  virtual void awakeFromNib() {}  ///< once, after all outlets are connected; throws zn::Exception where one is missing
  void setStoryboardView(const std::shared_ptr<UIView>& view) { storyboardView_ = view; }

 private:
  zn::Value title_;
  std::shared_ptr<UIView> view_;
  std::shared_ptr<UIView> storyboardView_;  // until it is used
  std::vector<std::shared_ptr<UIViewController>> children_;
  std::weak_ptr<UIViewController> parent_;
  bool automaticallyAdjustsScrollViewInsets_ = true;
};
