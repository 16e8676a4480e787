#include "ZNDevices/Qt/ScreenWidget.h"

#include <QKeyEvent>
#include <QPainter>
#include <algorithm>
#include <utility>
#include <vector>

#include "ZNDevices/Qt/Callbacks_p.h"
#include "ZNDevices/Qt/LabelWidget_p.h"
#include "ZNDevices/Qt/TableAccessible_p.h"
#include "ZNDevices/Qt/TableWidget_p.h"

namespace zn {

namespace {
constexpr QSize kUsualSize(420, 640);
}  // namespace

struct ScreenWidget::Parts {
  std::shared_ptr<UIViewController> controller;
  qt::Pieces backgrounds;
  std::vector<std::pair<std::shared_ptr<UITableView>, qt::TableWidget*>> tables;  // in the order of the views
  std::vector<qt::LabelWidget*> labels;

  qt::TableWidget* tableFor(const std::shared_ptr<UITableView>& view, ScreenWidget* parent) {
    for (const auto& [known, widget] : tables) {
      if (known == view) return widget;
    }
    tables.emplace_back(view, new qt::TableWidget(view, parent));
    return tables.back().second;
  }

  void show(const qt::Pieces& pieces, ScreenWidget* parent) {
    backgrounds.clear();
    const auto before = std::exchange(tables, {});
    std::size_t label = 0;
    for (const qt::Piece& each : pieces) {
      if (each.background) backgrounds.push_back(each);
      if (each.table) {
        for (const auto& known : before) {
          if (known.first == each.table) tables.push_back(known);
        }
        qt::TableWidget* const widget = tableFor(each.table, parent);
        widget->setGeometry(each.frame.toAlignedRect());
        widget->setAccessibleName(qt::textOf(controller->title()));
        widget->show();
      } else if (each.text && !each.text->text().isEmpty()) {
        if (label == labels.size()) labels.push_back(new qt::LabelWidget(parent));
        labels[label++]->show(each);
      }
    }
    for (; label < labels.size(); labels.pop_back()) delete labels.back();
    for (const auto& [view, widget] : before) {
      if (std::find(tables.begin(), tables.end(), std::pair(view, widget)) != tables.end()) continue;
      widget->hide();
      widget->deleteLater();  // it may be the one that led here
    }
  }
};

ScreenWidget::ScreenWidget(std::shared_ptr<UIViewController> controller, QWidget* parent)
    : QWidget(parent), parts_(std::make_unique<Parts>()) {
  qt::installAccessibility();
  setFocusPolicy(Qt::StrongFocus);
  setController(std::move(controller));
}

ScreenWidget::~ScreenWidget() = default;

std::shared_ptr<UIViewController> ScreenWidget::controller() const { return parts_->controller; }

void ScreenWidget::setController(std::shared_ptr<UIViewController> controller) {
  parts_->controller = std::move(controller);
  if (isVisible()) appear();
  refresh();
}

void ScreenWidget::appear() {
  if (!parts_->controller) return;
  qt::guardedCall([&] { parts_->controller->beginAppearance(false); });
}

void ScreenWidget::refresh() {
  qt::Pieces pieces;
  if (const auto screen = parts_->controller) {
    qt::guardedCall([&] { pieces = qt::filling(screen->view(), size(), qt::settingOf(*this)); });
    setWindowTitle(qt::textOf(screen->title()));
  }
  parts_->show(pieces, this);
  setFocusProxy(table());
  update();
}

qt::TableWidget* ScreenWidget::table() const {
  return parts_->tables.empty() ? nullptr : parts_->tables.front().second;
}

QSize ScreenWidget::sizeHint() const { return kUsualSize; }

void ScreenWidget::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  qt::draw(painter, parts_->backgrounds, palette());
}

void ScreenWidget::resizeEvent(QResizeEvent*) { refresh(); }

void ScreenWidget::showEvent(QShowEvent* event) {
  if (!event->spontaneous()) {
    appear();
    refresh();
  }
  QWidget::showEvent(event);
}

void ScreenWidget::changeEvent(QEvent* event) {
  QWidget::changeEvent(event);
  if (event->type() == QEvent::FontChange || event->type() == QEvent::LayoutDirectionChange) refresh();
}

void ScreenWidget::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape && isWindow()) {
    close();
  } else {
    event->ignore();
  }
}

}  // namespace zn
