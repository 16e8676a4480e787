// A host that draws its own list of messages from the inbox's calls.
#include "Demo.h"

namespace {

void draw() {
  std::cout << "messages: " << ZNInbox::getAllNotificationCount()
            << ", unread: " << ZNInbox::getUnreadNotifictionCount() << '\n';
  ZNInbox::getInboxMessagesWithCompletionBlock([](const zn::InboxListPtr& messages) {
    if (!messages) return;
    const zn::DateFormatter days = ZNInbox::dateFormatterWithFormat("dd MMM yyyy");
    for (const auto& message : *messages) {
      const zn::Value received = message->receivedDate();
      std::cout << (message->isRead() ? "    " : "  * ") << message->notificationTitle().string() << " ("
                << (received ? days.stringFromDate(received.date()) : "no date") << ")\n";
    }
  });
}

}  // namespace

int main(int count, char** arguments) {
  const auto device = startDemo(count, arguments);
  if (!device) return 1;

  draw();
  const zn::Value clicked = "parcel-1";
  ZNInbox::trackInboxNotificationClickWithCampaignID(clicked);  // counts the click and marks the message read
  ZNInbox::processInboxNotificationWithCampaignID(clicked);     // opens what the message asks for, if anything
  device->runPending();
  draw();
  ZNInbox::removeMessageWithCampaignID("sale");
  draw();
}
