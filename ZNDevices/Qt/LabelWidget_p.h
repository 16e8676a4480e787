#pragma once

#include <QPainter>
#include <QWidget>

#include "ZNDevices/Qt/ViewLayout_p.h"

namespace zn::qt {

/// A label of a screen that lies in no table.
class LabelWidget : public QWidget {
 public:
  explicit LabelWidget(QWidget* parent) : QWidget(parent) { setAttribute(Qt::WA_TransparentForMouseEvents); }
  void show(const Piece& piece) {
    text_ = piece.text;
    setGeometry(piece.frame.toAlignedRect());
    setAccessibleName(QString(text_->text()).replace(QChar::LineSeparator, QLatin1Char(' ')));
    setVisible(true);
    update();
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    const Piece piece{.frame = QRectF(rect()), .text = text_};
    draw(painter, std::span(&piece, 1), palette());
  }

 private:
  std::shared_ptr<LabelText> text_;
};

}  // namespace zn::qt
