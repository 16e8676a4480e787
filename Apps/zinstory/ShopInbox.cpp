#include "Apps/zinstory/ShopInbox.h"

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "Apps/zinstory/Programs.h"
#include "ZNDevices/Simulator/InboxScreen.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"

namespace zinstory {

namespace {

constexpr std::size_t kScreenWidth = 64;

/// As versions before 1.0 wrote it.
constexpr const char* kOlderInbox = R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict><key>messagesInfo</key><array><dict>
  <key>data</key><dict>
    <key>aps</key><dict><key>alert</key><dict>
      <key>title</key><string>Thank you for your order</string>
      <key>body</key><string>Your rucksack is packed and leaves us tomorrow.</string>
    </dict></dict>
    <key>zintar</key><dict>
      <key>cid</key><string>order-10371</string><key>inbox_expiry</key><string>4102358400</string>
    </dict>
  </dict>
  <key>c_cr_t</key><string>1690000000.000000</string><key>isRead</key><true/>
</dict></array></dict></plist>
)";

constexpr const char* kMissedPush =
    R"({"aps": {"alert": {"title": "Back in stock", "body": "The blue jacket is here again, in your size."}}, )"
    R"("zintar": {"cid": "back-in-stock-7", "inbox_expiry": "4102358400"}})";

class ShowChanges : public zn::InboxObserver {
 public:
  explicit ShowChanges(Page& page) : page_(page) {}
  void inboxChanged(const zn::InboxChange& change) override {
    for (const auto& [kind, campaigns] : {std::pair("added", &change.added), std::pair("read", &change.read)}) {
      for (const zn::Value& campaign : *campaigns) page_.effect(kind, zn::format("%@", campaign));
    }
    page_.effect("unread", zn::format("%ld", change.unreadCount));
  }

 private:
  Page& page_;
};

void draw(Page& page, zn::InboxScreen& screen) {
  std::istringstream lines(zn::drawnAsText(*screen.inbox(), kScreenWidth));
  page.blankLine();
  for (std::string line; std::getline(lines, line);) page.row({}, {"   " + line});
  page.blankLine();
}

}  // namespace

void leaveMessages(Page& page, const std::string& home) {
  page.blankLine();
  page.paragraph(
      "Before it starts: an earlier version has left an inbox file, zinextension keeps a push that came in the "
      "meantime, and the server has two messages.");
  page.blankLine();
  std::filesystem::create_directories(home + "/Documents");
  std::ofstream(home + "/Documents/InboxMessages.plist") << kOlderInbox;
  feedProgram("zinextension", {"--home", home, "--group", kShopGroup, "--app", kShopID}, kMissedPush);
}

void tellInbox(Shop& shop) {
  Page& page = shop.page();
  const auto& inbox = ZNInboxHandler::sharedInstance();
  const auto observer = std::make_shared<ShowChanges>(page);
  inbox->addObserver(observer);
  page.beginStep("", "started and synchronised");
  shop.start();
  shop.settle();
  page.endStep();
  const auto screen = zn::InboxScreen::open();
  if (!screen) throw zn::Exception("the inbox screen could not be loaded");
  screen->appear();
  draw(page, *screen);
  page.beginStep("", "the first message is tapped");
  screen->tapRow(0);
  shop.settle();
  page.endStep();
  draw(page, *screen);
  page.paragraph(
      "(Once a message without a title was drawn, the screen draws further ones without, those with a title too.)");
  inbox->removeObserver(observer);
}

}  // namespace zinstory
