#include "Apps/zinhost/ShopWindow.h"

#include <QApplication>
#include <QBoxLayout>
#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QShortcut>
#include <QStackedWidget>

#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNDevices/Qt/InboxWindow.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxViewController.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/UIKit/UIPasteboard.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace zinhost {

namespace {

struct Product {
  const char* name;
  int price;
  const char* colour;
} constexpr kProducts[] = {{"Walnut desk lamp", 49, "#8A5A3B"},
                           {"Blue kettle", 29, "#2F6FED"},
                           {"Wool blanket", 65, "#B4536B"},
                           {"Bicycle bell", 12, "#3C8D5A"}};

constexpr const char* kStyle = R"(
  #card { background: palette(base); border: 1px solid palette(midlight); border-radius: 10px; }
  #title { font-size: 22px; font-weight: 600; }
  #name { font-size: 15px; font-weight: 600; }
  #picture { color: white; border-radius: 10px; font-size: 26px; }
  #badge { background: #D92D20; color: white; border-radius: 8px; padding: 2px 6px; font-size: 11px; font-weight: 600; }
  QPushButton { border: 1px solid palette(mid); border-radius: 7px; padding: 6px 14px; background: palette(button); }
  QPushButton:hover, QPushButton:focus { border-color: palette(highlight); }
  #tab { background: none; border-color: transparent; font-size: 14px; }
  #tab:focus { border-color: palette(highlight); }
  #tab:checked { background: palette(highlight); color: palette(highlighted-text); }
)";

/// What comes from a push is a text, never markup.
QLabel* label(const std::string& text, const char* look = "") {
  auto* made = new QLabel;
  made->setTextFormat(Qt::PlainText);
  made->setText(QString::fromStdString(text));
  made->setObjectName(QLatin1String(look));
  made->setWordWrap(true);
  return made;
}

template <class Action>
QPushButton* button(const char* title, Action action) {
  auto* made = new QPushButton(QLatin1String(title));
  made->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
  QObject::connect(made, &QPushButton::clicked, made, action);
  return made;
}

QFrame* card(QBoxLayout::Direction direction, std::initializer_list<QWidget*> parts) {
  auto* frame = new QFrame;
  frame->setObjectName(QStringLiteral("card"));
  auto* layout = new QBoxLayout(direction, frame);
  layout->setContentsMargins(16, 16, 16, 16);
  layout->setSpacing(10);
  for (QWidget* each : parts) layout->addWidget(each);
  return frame;
}

QWidget* page(const std::vector<QWidget*>& cards) {
  auto* area = new QScrollArea;
  area->setFrameShape(QFrame::NoFrame);
  area->setFocusPolicy(Qt::NoFocus);
  area->setWidgetResizable(true);
  area->setWidget(new QWidget);
  auto* column = new QVBoxLayout(area->widget());
  column->setContentsMargins(20, 8, 20, 20);
  column->setSpacing(12);
  for (QWidget* each : cards) column->addWidget(each);
  column->addStretch();
  return area;
}

/// Who knows a subscription may push: it is not for everybody who looks at the screen.
std::string shortened(const std::string& subscription) {
  const zn::Value read = zn::parseJson(subscription).value_or(zn::nil);
  const std::string endpoint(read.validObjectForKey("endpoint").string());
  const std::size_t host = endpoint.find('/', endpoint.find("//") + 2);
  return host == std::string::npos ? "…" : endpoint.substr(0, host) + "/…";
}

}  // namespace

ShopWindow::ShopWindow(std::shared_ptr<Shop> shop, const std::string& name, const std::string& inboxTitle)
    : shop_(std::move(shop)), pages_(new QStackedWidget), status_(label("")) {
  setStyleSheet(QLatin1String(kStyle));
  setWindowTitle(QString::fromStdString(name));
  resize(460, 720);
  pages_->addWidget(goodsPage());
  pages_->addWidget(new zn::InboxWindow([inboxTitle](ZNInboxViewController& screen) {
    screen.setInboxTitle(inboxTitle);
    screen.setShouldProcessNotificationActions(true);  // a tap opens what a click on the notification would
  }));
  pages_->addWidget(settingsPage());
  pages_->addWidget(page({card(QBoxLayout::TopToBottom, {askedTitle_ = label("", "name"), askedText_ = label("")})}));
  auto* column = new QVBoxLayout(this);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(0);
  column->addWidget(header(name));
  column->addWidget(pages_, 1);
  column->addWidget(status_);
  status_->setContentsMargins(20, 6, 20, 8);
  shop_->activated = [this](const std::string& token) { zn::QtDevice::raise(*this, token); };
  shop_->screenAsked = [this](const std::string& screen, const zn::Value& pairs) { showScreen(screen, pairs); };
  shop_->unreadChanged = [this](std::size_t unread) { showUnread(unread); };
  shop_->subscriptionChanged = [this](const std::string& subscription) { showSubscription(subscription); };
  shop_->happened = [this](const std::string& text) { status_->setText(QString::fromStdString(text)); };
  new QShortcut(QKeySequence::Quit, this, qApp, &QApplication::quit);
  turnTo(goods);
  showUnread(0);
  showSubscription("");
}

QWidget* ShopWindow::header(const std::string& name) {
  auto* widget = new QWidget;
  auto* column = new QVBoxLayout(widget);
  column->setContentsMargins(20, 16, 20, 10);
  column->addWidget(label(name, "title"));
  auto* tabs = new QHBoxLayout;
  tabs->setSpacing(4);
  column->addLayout(tabs);
  for (const auto& [page, title] : {std::pair(goods, "&Shop"), {inbox, "&Inbox"}, {settings, "S&ettings"}}) {
    tabs_[page] = button(title, [this, page = page] { turnTo(page); });
    tabs_[page]->setObjectName(QStringLiteral("tab"));
    tabs_[page]->setCheckable(true);
    connect(tabs_[page], &QPushButton::pressed, this, [this, page = page] { turnTo(page); });
    tabs->addWidget(tabs_[page]);
    if (page == inbox) tabs->addWidget(badge_ = label("", "badge"));
  }
  badge_->setFixedHeight(18);
  tabs->addStretch();
  return widget;
}

QWidget* ShopWindow::goodsPage() {
  auto* yes = button("&Yes, please", [this] { shop_->allowNotifications(); });
  auto* invitation = card(QBoxLayout::LeftToRight, {label("Shall we tell you when your parcel comes?"), yes});
  connect(yes, &QPushButton::clicked, invitation, &QWidget::hide);
  invitation->hide();
  shop_->askWhetherNotificationsAreAllowed(
      [invitation](std::optional<bool> allowed) { invitation->setVisible(!allowed); });
  std::vector<QWidget*> cards{invitation};
  for (const Product& product : kProducts) {
    auto* picture = label(std::string(1, product.name[0]), "picture");
    picture->setStyleSheet(QStringLiteral("background: %1").arg(QLatin1String(product.colour)));
    picture->setFixedSize(64, 64);
    picture->setAlignment(Qt::AlignCenter);
    auto* price = label(std::to_string(product.price) + " €");
    price->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
    const auto tracks = [&](const char* title, const char* event) {
      return button(title, [this, event, &product] { track(event, product.name, product.price); });
    };
    cards.push_back(card(QBoxLayout::LeftToRight, {picture, label(product.name, "name"), price,
                                                   tracks("Add", "ADDED_TO_CART"), tracks("Buy now", "ORDERED")}));
  }
  return page(cards);
}

QWidget* ShopWindow::settingsPage() {
  auto* offers = new QCheckBox(QStringLiteral("Send me offers"));
  offers->setChecked(ZNConfigDataManager::sharedInstance()->isPushNotificationEnabled());
  connect(offers, &QCheckBox::clicked, this,
          [](bool wants) { ZNMessaging::sharedInstance()->optOutOfZintarPushNotification(!wants); });
  subscription_ = label("");
  copy_ = button("Copy", [this] {
    UIPasteboard::generalPasteboard()->setString(subscription_->property("whole").toString().toStdString());
    shop_->happened("The subscription is on the clipboard: whoever has it may push");
  });
  return page({card(QBoxLayout::TopToBottom, {label("Notifications", "name"), offers}),
               card(QBoxLayout::TopToBottom, {label("Push", "name"), subscription_, copy_})});
}

void ShopWindow::turnTo(Page page) {
  pages_->setCurrentIndex(page);
  for (const Page each : {goods, inbox, settings}) tabs_[each]->setChecked(each == page);
  if (page == inbox) pages_->currentWidget()->setFocus();
}

void ShopWindow::track(const char* event, const char* product, int price) {
  const zn::Value attributes = zn::Value::dictionary({{"product", product}, {"price", price}});
  ZNAnalytics::sharedInstance()->trackEvent(event, ZNProperties::initWithAttributes(attributes));
  Shop::sendEventsSoon();
  shop_->happened(std::string("Tracked ") + event + ": " + product);
}

void ShopWindow::showSubscription(const std::string& subscription) {
  subscription_->setProperty("whole", QString::fromStdString(subscription));
  subscription_->setText(QString::fromStdString(subscription.empty() ? "No push yet" : shortened(subscription)));
  copy_->setVisible(!subscription.empty());
}

void ShopWindow::showScreen(const std::string& name, const zn::Value& pairs) {
  std::string text;
  for (const auto& [key, value] : pairs.entries()) {
    text += std::string(key.string()) + ": " + zn::description(value) + "\n";
  }
  askedTitle_->setText(QString::fromStdString(name));
  askedText_->setText(QString::fromStdString(text).trimmed());
  turnTo(asked);
}

void ShopWindow::showUnread(std::size_t count) {
  badge_->setNum(static_cast<int>(count));
  badge_->setVisible(count > 0);
  tabs_[inbox]->setAccessibleName(QStringLiteral("Inbox, %1 unread").arg(count));
}

}  // namespace zinhost
