// The inbox screen, and what the user does with it.

#include <algorithm>
#include <charconv>
#include <functional>
#include <optional>

#include "Apps/zinsim/Commands.h"
#include "Apps/zinsim/Delegates.h"
#include "ZNDevices/Simulator/InboxScreen.h"
#include "ZNPlatform/Foundation/Format.h"

namespace zinsim {

using zn::Value;

namespace {

[[noreturn]] void refuseProperty(const std::string& name, const char* expected, const Value& value) {
  refuse("property \"" + name + "\" of the inbox screen", expected, value);
}

std::optional<UIColor> color(const std::string& name, const Value& value) {
  if (value.isNull()) return std::nullopt;
  const auto made = UIColor::colorWithHexText(value.string());
  if (!made) refuseProperty(name, "a colour \"#RRGGBB\" or null", value);
  return made;
}

std::optional<UIFont> font(const std::string& name, const Value& value) {
  if (value.isNull()) return std::nullopt;
  const std::string_view text = value.string();
  const std::size_t blank = std::min(text.rfind(' '), text.size());
  double size = 0;
  const std::string_view number = text.substr(std::min(blank + 1, text.size()));
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), size);
  if (blank == 0 || error != std::errc() || end != number.data() + number.size()) {
    refuseProperty(name, "a font \"Name size\" or null", value);
  }
  return UIFont::fontWithName(std::string(text.substr(0, blank)), size);
}

using Inbox = ZNInboxViewController;
using Change = std::function<void(Inbox&)>;

template <class T>
using Setter = void (Inbox::*)(const std::optional<T>&);

const std::pair<const char*, Setter<UIColor>> kColors[] = {
    {"tableBackgroundColor", &Inbox::setTableBackgroundColor},
    {"notificationTextLabelColor", &Inbox::setNotificationTextLabelColor},
    {"dateTextLabelColor", &Inbox::setDateTextLabelColor},
    {"cellBackgroundColor", &Inbox::setCellBackgroundColor}};

const std::pair<const char*, Setter<UIFont>> kFonts[] = {
    {"notificationTextLabelFont", &Inbox::setNotificationTextLabelFont},
    {"dateTextLabelFont", &Inbox::setDateTextLabelFont},
    {"notificationTextLabelUnreadFont", &Inbox::setNotificationTextLabelUnreadFont}};

/// What sets one property; throws UsageError for one that the screen does not have, or not so.
Change changeFor(const std::string& name, const Value& value) {
  for (const auto& [known, setter] : kColors) {
    if (name == known) return [set = setter, made = color(name, value)](Inbox& inbox) { (inbox.*set)(made); };
  }
  for (const auto& [known, setter] : kFonts) {
    if (name == known) return [set = setter, made = font(name, value)](Inbox& inbox) { (inbox.*set)(made); };
  }
  if (name == "inboxTitle") {
    if (!shape::textOrNull.fits(value)) refuseProperty(name, shape::textOrNull.expected, value);
    return [value](Inbox& inbox) { inbox.setInboxTitle(value.isNull() ? zn::nil : value); };
  }
  if (name == "shouldProcessNotificationActions") {
    if (!value.isBoolean()) refuseProperty(name, shape::boolean.expected, value);
    return [value](Inbox& inbox) { inbox.setShouldProcessNotificationActions(value.boolean()); };
  }
  throw UsageError("the inbox screen has no property \"" + name + "\" that can be set");
}

void openInbox(const Fields& fields, Session& session) {
  std::vector<Change> changes;
  for (const auto& entry : fields["properties"].entries()) {
    changes.push_back(changeFor(std::string(entry.name()), entry.value));
  }
  const auto delegate = inboxCellDelegate(session, fields.texts("delegate"));
  session.inboxScreen = zn::InboxScreen::open();
  if (!session.inboxScreen) return;
  for (const Change& change : changes) change(*session.inboxScreen->inbox());
  session.inboxCellDelegate = delegate;
  session.inboxScreen->inbox()->setDelegate(delegate);
  session.inboxScreen->appear();
}

zn::InboxScreen& openScreen(const Session& session) {
  if (!session.inboxScreen) throw UsageError("no inbox screen is open");
  return *session.inboxScreen;
}

void tapRow(const Fields& fields, Session& session) { openScreen(session).tapRow(fields.integer("row")); }
void deleteRow(const Fields& fields, Session& session) { openScreen(session).deleteRow(fields.integer("row")); }
void showInbox(const Fields&, Session& session) { session.print("screen", openScreen(session).shown()); }

}  // namespace

std::vector<Command> inboxScreenCommands() {
  return {
      {"openInbox",
       {{"properties", optional, shape::dictionary}, {"delegate", optional, shape::texts}},
       "Puts the inbox screen on a new view controller of the host, sets these properties (colours as\n"
       "\"#RRGGBB\", fonts as \"Name size\") and a cell delegate that implements these operations, and lets\n"
       "it appear.",
       openInbox},
      {"tapRow", {{"row", required, shape::integer}}, "The user taps that row of the open inbox screen.", tapRow},
      {"deleteRow",
       {{"row", required, shape::integer}},
       "The user swipes that row of the open inbox screen away.",
       deleteRow},
      {"showInbox", {}, "Asks the open inbox screen for its cells and prints what it shows.", showInbox},
  };
}

}  // namespace zinsim
