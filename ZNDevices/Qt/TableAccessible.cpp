#include "ZNDevices/Qt/TableAccessible_p.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QCoreApplication>
#include <map>

#include "ZNDevices/Qt/LabelWidget_p.h"
#include "ZNDevices/Qt/TableWidget_p.h"

namespace zn::qt {

namespace {

/// A row. It looks up what the table has there each time that it is asked.
class RowAccessible final : public QAccessibleInterface, public QAccessibleActionInterface {
 public:
  RowAccessible(TableWidget* table, long row) : table_(table), row_(row) {}

  bool isValid() const override { return table_ && row_ < table_->rows(); }
  QObject* object() const override { return nullptr; }
  QWindow* window() const override { return table_ ? table_->window()->windowHandle() : nullptr; }
  QAccessibleInterface* parent() const override { return QAccessible::queryAccessibleInterface(table_); }
  QAccessibleInterface* child(int) const override { return nullptr; }
  QAccessibleInterface* childAt(int, int) const override { return nullptr; }
  int childCount() const override { return 0; }
  int indexOfChild(const QAccessibleInterface*) const override { return -1; }
  QAccessible::Role role() const override { return QAccessible::ListItem; }

  QString text(QAccessible::Text kind) const override {
    if (kind != QAccessible::Name || !isValid()) return {};
    QStringList texts = table_->textsOf(row_);
    if (table_->isMarked(row_)) texts.prepend(table_->markedName());
    return texts.join(QLatin1String(", "));
  }
  void setText(QAccessible::Text, const QString&) override {}

  QRect rect() const override {
    if (!isValid()) return {};
    const QRect inside = table_->rectOf(row_);
    return inside.isEmpty() ? QRect() : QRect(table_->mapToGlobal(inside.topLeft()), inside.size());
  }

  QAccessible::State state() const override {
    QAccessible::State state;
    if (!isValid()) {
      state.invalid = true;
      return state;
    }
    state.focusable = true;
    state.selectable = true;
    state.offscreen = table_->rectOf(row_).isEmpty();
    state.invisible = !table_->isVisible();
    state.selected = table_->currentRow() == row_;
    state.focused = state.selected && table_->hasFocus();
    return state;
  }

  void* interface_cast(QAccessible::InterfaceType type) override {
    return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this) : nullptr;
  }
  QStringList actionNames() const override {
    QStringList names{pressAction(), setFocusAction()};
    if (isValid() && table_->canRemove(row_)) names += removeName();
    return names;
  }
  void doAction(const QString& name) override {
    if (!isValid()) return;
    const QPointer<TableWidget> table = table_;
    table->setCurrentRow(row_);
    if (name == pressAction()) {
      table->tap(row_);
    } else if (name == setFocusAction()) {
      table->setFocus();
    } else if (name == removeName()) {
      table->remove(row_);
    }
  }
  QStringList keyBindingsForAction(const QString&) const override { return {}; }

 private:
  static QString removeName() { return QCoreApplication::translate("zn::Table", "Delete"); }
  const QPointer<TableWidget> table_;
  const long row_;
};

class TableAccessible final : public QAccessibleWidget {
 public:
  explicit TableAccessible(TableWidget* table) : QAccessibleWidget(table, QAccessible::List), table_(table) {}
  ~TableAccessible() override {
    for (const auto& [row, id] : made_) QAccessible::deleteAccessibleInterface(id);
  }

  int childCount() const override { return static_cast<int>(table_->rows()); }
  QAccessibleInterface* child(int index) const override {
    if (index < 0 || index >= childCount()) return nullptr;
    auto found = made_.find(index);
    if (found == made_.end()) {
      found = made_.emplace(index, QAccessible::registerAccessibleInterface(new RowAccessible(table_, index))).first;
    }
    return QAccessible::accessibleInterface(found->second);
  }
  int indexOfChild(const QAccessibleInterface* child) const override {
    for (const auto& [row, id] : made_) {
      if (QAccessible::accessibleInterface(id) == child) return static_cast<int>(row);
    }
    return -1;
  }
  QAccessibleInterface* childAt(int x, int y) const override {
    return child(static_cast<int>(table_->rowAt(table_->viewport()->mapFromGlobal(QPoint(x, y)))));
  }
  QAccessibleInterface* focusChild() const override {
    return table_->hasFocus() ? child(static_cast<int>(table_->currentRow())) : nullptr;
  }

 private:
  TableWidget* const table_;
  mutable std::map<long, QAccessible::Id> made_;
};

QAccessibleInterface* make(const QString&, QObject* object) {
  if (auto* table = dynamic_cast<TableWidget*>(object)) return new TableAccessible(table);
  if (auto* label = dynamic_cast<LabelWidget*>(object)) return new QAccessibleWidget(label, QAccessible::StaticText);
  return nullptr;
}

}  // namespace

void installAccessibility() {
  [[maybe_unused]] static const bool once = [] {
    QAccessible::installFactory(&make);
    return true;
  }();
}

}  // namespace zn::qt
