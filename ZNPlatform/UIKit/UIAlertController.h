#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/UIKit/UIViewController.h"

/// One button of an alert.
class ZN_EXPORT UIAlertAction {
 public:
  enum class Style { defaultStyle = 0, cancel = 1, destructive = 2 };
  using Handler = std::function<void(const UIAlertAction& action)>;

  /// `actionWithTitle:style:handler:`
  static std::shared_ptr<UIAlertAction> actionWithTitle(std::string title, Style style, Handler handler) {
    return std::make_shared<UIAlertAction>(std::move(title), style, std::move(handler));
  }

  const std::string& title() const { return title_; }
  Style style() const { return style_; }
  /// What a device calls when the user presses the button, on the main thread, after the alert closed. Passes on what
  /// the handler throws.
  void perform() const {
    if (handler_) handler_(*this);
  }

  UIAlertAction(std::string title, Style style, Handler handler)
      : title_(std::move(title)), style_(style), handler_(std::move(handler)) {}

 private:
  const std::string title_;
  const Style style_;
  const Handler handler_;
};

/// An alert with a title, a message and buttons, which a device shows when it is presented.
///
/// Ownership: std::shared_ptr; the device that shows it holds it until it closes. Thread: the main thread.
class ZN_EXPORT UIAlertController : public UIViewController {
 public:
  enum class Style { actionSheet = 0, alert = 1 };

  /// `alertControllerWithTitle:message:preferredStyle:`
  static std::shared_ptr<UIAlertController> alertControllerWithTitle(const std::string& title, std::string message,
                                                                     Style preferredStyle);
  /// Whether the installed device can show alerts; where it cannot, presenting one does nothing.
  static bool isAvailable();

  const std::string& message() const { return message_; }
  Style preferredStyle() const { return preferredStyle_; }
  void addAction(const std::shared_ptr<UIAlertAction>& action) { actions_.push_back(action); }
  const std::vector<std::shared_ptr<UIAlertAction>>& actions() const { return actions_; }  ///< in order of adding

  UIAlertController(std::string message, Style preferredStyle)
      : message_(std::move(message)), preferredStyle_(preferredStyle) {}

 private:
  const std::string message_;
  const Style preferredStyle_;
  std::vector<std::shared_ptr<UIAlertAction>> actions_;
};
