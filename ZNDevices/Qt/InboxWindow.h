#pragma once

#include <functional>
#include <memory>

#include "ZNDevices/Qt/ScreenWidget.h"

class ZNInboxViewController;

namespace zn {

/// The module's inbox screen as a widget: a window of its own, or a part of one. It is up to date with the inbox at any
/// time, keeps its place in the list when messages come and go, marks those not read, and says so when there are none.
///
///     auto* inbox = new zn::InboxWindow([&](ZNInboxViewController& screen) {
///       screen.setInboxTitle("Your messages");
///       screen.setDelegate(opener);
///     });
///     inbox->show();
///
/// Enter or a click opens a message. Delete, its menu, or dragging it towards where lines begin deletes it. Escape
/// closes the window where it is one.
///
/// It needs the module's configuration, loaded before; while the account is not active it stays empty.
/// Thread and ownership: as ScreenWidget.
class ZN_EXPORT InboxWindow : public ScreenWidget {
 public:
  using Customise = std::function<void(ZNInboxViewController& screen)>;

  /// `customise` is where the host sets the screen's title, colours, fonts and delegate, which it keeps alive. It is
  /// called at once, and for each further screen: a screen that showed no messages is replaced when one comes.
  explicit InboxWindow(Customise customise = nullptr, QWidget* parent = nullptr);
  ~InboxWindow() override;

  /// The screen that is shown now; null while the account is not active. After changing its look call `restyle`.
  std::shared_ptr<ZNInboxViewController> inbox() const;
  /// Draws all rows anew, with the look that `customise` and the screen's properties say now.
  void restyle();

 protected:
  void showEvent(QShowEvent* event) override;
  bool event(QEvent* event) override;

 private:
  class Observer;
  void open();
  void takeOver();
  void inboxChanged();
  void markRows();

  Customise customise_;
  std::shared_ptr<Observer> observer_;
  bool updateIsQueued_ = false;
};

}  // namespace zn
