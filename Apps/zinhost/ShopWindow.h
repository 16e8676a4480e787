#pragma once

#include <QWidget>
#include <memory>
#include <string>

#include "Apps/zinhost/Shop.h"

class QLabel;
class QPushButton;
class QStackedWidget;

namespace zinhost {

/// The shop's window: goods, the inbox, settings, and the screen that a push asked for.
class ShopWindow : public QWidget {
 public:
  ShopWindow(std::shared_ptr<Shop> shop, const std::string& name, const std::string& inboxTitle);

 private:
  enum Page { goods, inbox, settings, asked };

  QWidget* header(const std::string& name);
  QWidget* goodsPage();
  QWidget* settingsPage();
  void turnTo(Page page);
  void track(const char* event, const char* product, int price);
  void showSubscription(const std::string& subscription);
  void showScreen(const std::string& name, const zn::Value& pairs);
  void showUnread(std::size_t count);

  const std::shared_ptr<Shop> shop_;
  QStackedWidget* const pages_;
  QPushButton* tabs_[3] = {};
  QLabel* badge_ = nullptr;
  QLabel* subscription_ = nullptr;
  QPushButton* copy_ = nullptr;
  QLabel* askedTitle_ = nullptr;
  QLabel* askedText_ = nullptr;
  QLabel* const status_;
};

}  // namespace zinhost
