// A host that embeds the ready-made inbox screen in a screen of its own, in its own colours. It draws what the screen's
// views say; here as text, elsewhere with the toolkit at hand.
#include "Demo.h"
#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxViewController.h"

namespace {

std::string text(const std::shared_ptr<UILabel>& label) {
  return label ? std::string(label->text().string()) : std::string();
}

class OrderOpener : public ZNInboxCellSelectedDelegate {
 public:
  void inboxCellSelectedWithData(const zn::Value& data) override {
    std::cout << "open order " << zn::jsonText(data["order"]) << '\n';
  }
};

void draw(ZNInboxViewController& inbox) {
  std::cout << inbox.title().string() << '\n';
  const auto table = inbox.inboxTableView();
  if (!table) {
    std::cout << "  (empty)\n";
    return;
  }
  for (const auto& shown : table->showRows(0, 10)) {  // as many rows as fit into the window
    const auto cell = std::dynamic_pointer_cast<ZNInboxTableViewCell>(shown);
    if (!cell) continue;
    const auto message = cell->notificationTextLabel();
    std::cout << "  " << text(cell->dateLabelTextLabel()) << "  " << text(cell->notificationTitleTextLabel()) << ": "
              << text(message) << "  [" << message->font()->name << ", " << message->textColor()->hexText() << " on "
              << cell->backgroundColor()->hexText() << "]\n";
  }
}

}  // namespace

int main(int count, char** arguments) {
  const auto device = startDemo(count, arguments);
  if (!device) return 1;

  const auto host = std::make_shared<UIViewController>();
  host->view()->setFrame({0, 0, 480, 800});
  const auto inbox = ZNInbox::initializeInboxOnController(host);
  if (!inbox) {
    std::cerr << "the inbox screen could not be loaded\n";
    return 1;
  }
  inbox->view()->setFrame(host->view()->frame());

  const UIFont read = UIFont::fontWithName("Inter-Regular", 15);
  const UIFont unread = UIFont::fontWithName("Inter-Bold", 15);
  const UIColor ink{0x1B2A41, 0xE8ECF2};  // in light and in dark surroundings
  const UIColor paper{0xFFFDF7, 0x14181F};
  inbox->customiseInboxWithCellTextColor(ink, read, unread, ink, std::nullopt, paper);
  inbox->setTableBackgroundColor(paper);
  inbox->setInboxTitle("Your messages");
  const auto opener = std::make_shared<OrderOpener>();  // the screen does not own it
  inbox->setDelegate(opener);

  host->beginAppearance(false);
  draw(*inbox);
  inbox->inboxTableView()->tapRow(0);
  device->runPending();  // redraws the row
  draw(*inbox);
  inbox->inboxTableView()->swipeRowAway(1);
  draw(*inbox);
}
