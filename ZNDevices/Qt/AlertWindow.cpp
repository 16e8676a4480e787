#include "ZNDevices/Qt/AlertWindow_p.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWindow>
#include <utility>

#include "ZNDevices/Qt/Look_p.h"

namespace zn::qt {

namespace {

constexpr int kMargin = 24;
constexpr int kNarrowest = 300;
constexpr int kWidest = 460;
constexpr int kLongestText = 2000;  // characters; more would not fit a screen

/// Lines without the blanks around them.
QString trimmedLines(const QString& text) {
  QStringList lines = text.split(QChar::LineSeparator);
  for (QString& each : lines) each = each.trimmed();
  return lines.join(QLatin1Char('\n'));
}

/// A button's text is no place for an access key that a payload chose.
QString buttonText(const std::string& title) { return textOf(title).replace(QLatin1Char('&'), QLatin1String("&&")); }

QLabel* plainLabel(const QString& text, QWidget* parent) {
  auto* label = new QLabel(parent);
  label->setTextFormat(Qt::PlainText);
  label->setWordWrap(true);
  label->setText(text.size() > kLongestText ? text.left(kLongestText) + QChar(0x2026) : text);
  label->setTextInteractionFlags(Qt::TextSelectableByMouse);
  label->setMaximumWidth(kWidest);
  return label;
}

QDialogButtonBox::ButtonRole roleOf(const UIAlertAction& action) {
  switch (action.style()) {
    case UIAlertAction::Style::cancel:
      return QDialogButtonBox::RejectRole;
    case UIAlertAction::Style::destructive:
      return QDialogButtonBox::DestructiveRole;
    case UIAlertAction::Style::defaultStyle:
      break;
  }
  return QDialogButtonBox::AcceptRole;
}

}  // namespace

AlertWindow::AlertWindow(const UIAlertController& alert, Closed closed) : closed_(std::move(closed)) {
  setAttribute(Qt::WA_DeleteOnClose);
  for (const auto& action : alert.actions()) {
    if (action->style() == UIAlertAction::Style::cancel) cancels_ = action;
  }
  if (!cancels_ && alert.actions().size() == 1) cancels_ = alert.actions().front();
  mayCancel_ = cancels_ || alert.actions().empty();
  setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                 (mayCancel_ ? Qt::WindowCloseButtonHint : Qt::WindowFlags()));
  setWindowTitle(textOf(alert.title()).replace(QChar::LineSeparator, QLatin1Char(' ')));
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(kMargin, kMargin, kMargin, kMargin * 3 / 4);
  column->setSpacing(kMargin / 3);
  column->setSizeConstraint(QLayout::SetFixedSize);
  addTexts(alert);
  column->addSpacing(kMargin / 2);
  addButtons(alert);
}

void AlertWindow::addTexts(const UIAlertController& alert) {
  QLabel* title = plainLabel(trimmedLines(textOf(alert.title())), this);
  QFont font = title->font();
  font.setWeight(QFont::DemiBold);
  font.setPointSizeF(font.pointSizeF() * 1.2);
  title->setFont(font);
  QLabel* message = plainLabel(trimmedLines(textOf(alert.message())), this);
  message->setMinimumWidth(kNarrowest);
  for (QLabel* each : {title, message}) {
    each->setVisible(!each->text().isEmpty());
    layout()->addWidget(each);
  }
  setAccessibleName(title->text());
  setAccessibleDescription(message->text());
}

void AlertWindow::addButtons(const UIAlertController& alert) {
  auto* box = new QDialogButtonBox(this);
  if (alert.preferredStyle() == UIAlertController::Style::actionSheet) box->setOrientation(Qt::Vertical);
  bool hasDefault = false;
  for (const auto& action : alert.actions()) {
    auto* button = box->addButton(buttonText(action->title()), roleOf(*action));
    const bool isDefault = !hasDefault && action->style() == UIAlertAction::Style::defaultStyle;
    button->setAutoDefault(false);
    button->setDefault(isDefault);
    if (isDefault) button->setFocus();
    hasDefault |= isDefault;
    connect(button, &QPushButton::clicked, this, [this, action] { choose(action); });
  }
  layout()->addWidget(box);
}

void AlertWindow::open() {
  const QWidget* parent = QApplication::activeWindow();
  winId();  // makes the window that can be told whose it is
  if (parent && parent->windowHandle()) windowHandle()->setTransientParent(parent->windowHandle());
  setWindowModality(parent ? Qt::WindowModal : Qt::NonModal);
  adjustSize();
  if (parent) {
    // QDialog centres itself above a parent widget only, which would own this window.
    move(parent->frameGeometry().center() - rect().center());
  }
  show();
  raise();
}

void AlertWindow::reject() {
  if (mayCancel_) choose(cancels_);
}

void AlertWindow::closeEvent(QCloseEvent* event) {
  if (closed_ && !mayCancel_) return event->ignore();
  reject();
  event->accept();
}

void AlertWindow::choose(const std::shared_ptr<UIAlertAction>& action) {
  const Closed closed = std::exchange(closed_, nullptr);
  if (!closed) return;
  QDialog::done(Accepted);
  // Once Qt is done with the click: the work may open windows, or end the application.
  QMetaObject::invokeMethod(
      qApp, [closed, action] { closed(action); }, Qt::QueuedConnection);
}

}  // namespace zn::qt
