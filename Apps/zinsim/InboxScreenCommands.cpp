// The inbox screen, and what the user does with it.

#include <charconv>
#include <optional>

#include "Apps/zinsim/Commands.h"
#include "Apps/zinsim/Delegates.h"
#include "ZNDevices/Simulator/InboxScreen.h"

namespace zinsim {

using zn::Value;

namespace {

using Inbox = ZNInboxViewController;
using V = const Value&;

std::optional<UIColor> colorIn(V value) { return UIColor::colorWithHexText(value.string()); }

/// Of a name that may hold blanks, and a size.
std::optional<UIFont> fontIn(V value) {
  const std::string_view text = value.string();
  const std::size_t blank = text.rfind(' ');
  if (blank == text.npos || blank == 0) return std::nullopt;
  double size = 0;
  const char* const start = text.data() + blank + 1;
  const auto [end, error] = std::from_chars(start, text.data() + text.size(), size);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return UIFont::fontWithName(std::string(text.substr(0, blank)), size);
}

constexpr Shape kColor{[](V value) { return value.isNull() || colorIn(value); }, "a colour \"#RRGGBB\" or null"};
constexpr Shape kFont{[](V value) { return value.isNull() || fontIn(value); }, "a font \"Name size\" or null"};

/// A property of the inbox screen that can be set.
struct Property {
  const char* name;
  Shape shape;
  void (*set)(Inbox& inbox, V value);
};

const Property kProperties[] = {
    {"tableBackgroundColor", kColor, [](Inbox& inbox, V value) { inbox.setTableBackgroundColor(colorIn(value)); }},
    {"notificationTextLabelColor", kColor,
     [](Inbox& inbox, V value) { inbox.setNotificationTextLabelColor(colorIn(value)); }},
    {"dateTextLabelColor", kColor, [](Inbox& inbox, V value) { inbox.setDateTextLabelColor(colorIn(value)); }},
    {"cellBackgroundColor", kColor, [](Inbox& inbox, V value) { inbox.setCellBackgroundColor(colorIn(value)); }},
    {"notificationTextLabelFont", kFont,
     [](Inbox& inbox, V value) { inbox.setNotificationTextLabelFont(fontIn(value)); }},
    {"dateTextLabelFont", kFont, [](Inbox& inbox, V value) { inbox.setDateTextLabelFont(fontIn(value)); }},
    {"notificationTextLabelUnreadFont", kFont,
     [](Inbox& inbox, V value) { inbox.setNotificationTextLabelUnreadFont(fontIn(value)); }},
    {"inboxTitle", shape::textOrNull,
     [](Inbox& inbox, V value) { inbox.setInboxTitle(value.isNull() ? zn::nil : value); }},
    {"shouldProcessNotificationActions", shape::boolean,
     [](Inbox& inbox, V value) { inbox.setShouldProcessNotificationActions(value.boolean()); }},
};

const Property& propertyFor(const Value::Entry& entry) {
  for (const Property& property : kProperties) {
    if (entry.name() != property.name) continue;
    if (property.shape.fits(entry.value)) return property;
    refuse("property \"" + std::string(property.name) + "\" of the inbox screen", property.shape.expected, entry.value);
  }
  throw UsageError("the inbox screen has no property \"" + std::string(entry.name()) + "\" that can be set");
}

void openInbox(F fields) {
  Session& session = fields.session();
  const auto entries = fields["properties"].entries();
  for (const auto& entry : entries) propertyFor(entry);  // nothing is opened for one that cannot be set
  const auto delegate = inboxCellDelegate(session, fields.texts("delegate"));
  session.inboxScreen = zn::InboxScreen::open();
  if (!session.inboxScreen) return;
  Inbox& inbox = *session.inboxScreen->inbox();
  for (const auto& entry : entries) propertyFor(entry).set(inbox, entry.value);
  session.inboxCellDelegate = delegate;
  inbox.setDelegate(delegate);
  session.inboxScreen->appear();
}

zn::InboxScreen& openScreen(F fields) {
  if (!fields.session().inboxScreen) throw UsageError("no inbox screen is open");
  return *fields.session().inboxScreen;
}

}  // namespace

std::vector<Command> inboxScreenCommands() {
  return {
      command("openInbox", {{"properties", optional, shape::dictionary}, {"delegate", optional, shape::texts}},
              "Puts the inbox screen on a new view controller of the host, sets these properties (colours as\n"
              "\"#RRGGBB\", fonts as \"Name size\") and a cell delegate that implements these operations, and lets\n"
              "it appear.",
              openInbox),
      command("tapRow", {{"row", required, shape::integer}}, "The user taps that row of the open inbox screen.",
              [](F fields) { openScreen(fields).tapRow(fields.integer("row")); }),
      command("deleteRow", {{"row", required, shape::integer}},
              "The user swipes that row of the open inbox screen away.",
              [](F fields) { openScreen(fields).deleteRow(fields.integer("row")); }),
      command("showInbox", {}, "Asks the open inbox screen for its cells and prints what it shows.",
              [](F fields) { fields.session().print("screen", openScreen(fields).shown()); }),
  };
}

}  // namespace zinsim
