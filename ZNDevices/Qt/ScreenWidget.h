#pragma once

#include <QWidget>
#include <memory>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/UIKit/UIViewController.h"

namespace zn {

namespace qt {
class TableWidget;
}  // namespace qt

/// Draws the screen of a view controller: labels, stacks and tables, with the storyboard's fonts and colours, in light
/// and dark surroundings, from right to left where the application runs so. Fonts that are not installed are replaced
/// by the application's own in the same weight and size. Every text is plain text.
///
/// As the view's size is one of a telephone, parts keep their distances to the edges that they are near to, and parts
/// that take more than half of the view grow and shrink with it. Rows of a table stand in a column that stays as narrow
/// as one reads well.
///
/// A program that uses it finds and links Qt6::Widgets itself, beside Zintar::ZNQt. Thread: the main thread. Ownership:
/// as every QWidget; it owns the controller with others.
class ZN_EXPORT ScreenWidget : public QWidget {
 public:
  /// Loads the controller's view. One without a view stays empty.
  explicit ScreenWidget(std::shared_ptr<UIViewController> controller, QWidget* parent = nullptr);
  ~ScreenWidget() override;

  std::shared_ptr<UIViewController> controller() const;
  /// Draws another screen from now on, which appears if the widget is visible. null draws nothing.
  void setController(std::shared_ptr<UIViewController> controller);

  /// Takes over what changed in the views. Tables tell it by themselves; call this after other changes.
  void refresh();

  QSize sizeHint() const override;

 protected:
  qt::TableWidget* table() const;  ///< the first one, or null
  void appear();                   ///< tells the controller that it will be shown

  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void changeEvent(QEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;  ///< Escape closes it where it is a window

 private:
  struct Parts;
  const std::unique_ptr<Parts> parts_;
};

}  // namespace zn
