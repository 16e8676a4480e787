#pragma once

#include <QDialog>
#include <functional>
#include <memory>

#include "ZNPlatform/UIKit/UIAlertController.h"

class QDialogButtonBox;

namespace zn::qt {

/// An alert. It closes by one of its buttons, by Escape or the window's own button where an action cancels (or where
/// there is only one, or none), and deletes itself. All texts are plain.
class AlertWindow : public QDialog {
 public:
  /// Called once, after the window closed, with the action that was chosen; null where the alert has none.
  using Closed = std::function<void(const std::shared_ptr<UIAlertAction>& chosen)>;
  AlertWindow(const UIAlertController& alert, Closed closed);

  void open() override;  ///< above the active window, which waits for it; returns at once
  void reject() override;

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  void addTexts(const UIAlertController& alert);
  void addButtons(const UIAlertController& alert);
  void choose(const std::shared_ptr<UIAlertAction>& action);

  Closed closed_;
  std::shared_ptr<UIAlertAction> cancels_;
  bool mayCancel_ = false;
};

}  // namespace zn::qt
