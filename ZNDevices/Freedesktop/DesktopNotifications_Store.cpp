// What of the notifications is on disk, and what of one is on the screen.

#include <algorithm>
#include <string_view>
#include <utility>

#include "ZNDevices/Freedesktop/DesktopNotifications_p.h"
#include "ZNPlatform/Foundation/Unicode.h"
#include "ZNPlatform/UserNotifications/NotificationList.h"

namespace zn {

namespace {

constexpr std::size_t kLongestTitle = 200;  // bytes; servers cut what is too long for them, but not all of them quickly
constexpr std::size_t kLongestBody = 2000;

constexpr const char* kWaiting = "waiting";
constexpr const char* kDue = "due";
constexpr const char* kShown = "shown";

/// As a server may get it: no control characters but line ends, and not too long.
std::string shownText(const Value& text, std::size_t longest) {
  std::string clean = sanitizedUtf8(text.string());
  for (char& c : clean) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte < 0x20 && c != '\n') || byte == 0x7f) c = ' ';
  }
  if (clean.size() <= longest) return clean;
  std::size_t end = longest;
  while (end > 0 && (static_cast<unsigned char>(clean[end]) & 0xC0) == 0x80) --end;
  return clean.substr(0, end) + "…";
}

std::string stringAt(const Value& dictionary, std::string_view key) { return std::string(dictionary[key].string()); }

Value valueOf(const UNNotificationContent& content) {
  Value attachments = Value::array();
  for (const std::string& path : content.attachments) attachments.append(path);
  Value value = Value::dictionary({{"userInfo", content.userInfo},
                                   {"title", content.title},
                                   {"subtitle", content.subtitle},
                                   {"body", content.body},
                                   {"category", content.categoryIdentifier},
                                   {"attachments", attachments}});
  if (content.sound) value.setObjectNilHandled(content.sound->isDefault ? Value(true) : content.sound->name, "sound");
  return value;
}

UNNotificationContent contentOf(const Value& value) {
  UNNotificationContent content;
  content.userInfo = value["userInfo"];
  content.title = value["title"];
  content.subtitle = value["subtitle"];
  content.body = value["body"];
  content.categoryIdentifier = value["category"];
  for (const Value& path : value["attachments"].elements()) content.attachments.emplace_back(path.string());
  if (value["sound"].isBoolean()) content.sound = UNNotificationSound::defaultSound();
  if (value["sound"].isString()) content.sound = UNNotificationSound::soundNamed(stringAt(value, "sound"));
  return content;
}

}  // namespace

Value DesktopNotifications::state() const {
  Value notifications = Value::array();
  for (const Kept& each : kept_) {
    if (each.stage == Stage::expired || each.stage == Stage::removed) continue;
    const char* stage = each.stage == Stage::waiting ? kWaiting : each.stage == Stage::shown ? kShown : kDue;
    Value value = Value::dictionary({{"identifier", each.request.identifier},
                                     {"content", valueOf(each.request.content)},
                                     {"date", each.date.secondsSince1970},
                                     {"stage", stage},
                                     {"handle", each.handle},
                                     {"instance", each.instance}});
    if (each.request.trigger) value.setObjectNilHandled(each.request.trigger->timeInterval, "delay");
    notifications.append(std::move(value));
  }
  Value all = Value::dictionary({{"notifications", notifications}});
  if (isAllowed_) all.setObjectNilHandled(*isAllowed_, "allowed");
  return all;
}

void DesktopNotifications::load() {
  const Value all = store_.load();
  if (all["allowed"].isBoolean()) isAllowed_ = all["allowed"].boolean();
  for (const Value& each : all["notifications"].elements()) {
    if (!each["identifier"].isString() || kept_.size() >= NotificationList::mostKept) continue;
    Kept kept{.number = ++numbers_};
    kept.request.identifier = stringAt(each, "identifier");
    kept.request.content = contentOf(each["content"]);
    if (each["delay"].isNumber()) kept.request.trigger = {each["delay"].doubleValue()};
    kept.date = {each["date"].isNumber() ? each["date"].doubleValue() : 0};
    kept.handle = stringAt(each, "handle");
    kept.instance = stringAt(each, "instance");
    const std::string_view stage = each["stage"].string();
    kept.stage = stage == kWaiting ? Stage::waiting : stage == kShown ? Stage::shown : Stage::due;
    kept_.push_back(std::move(kept));
  }
}

Banner DesktopNotifications::bannerOf(const Kept& kept) const {
  const UNNotificationContent& content = kept.request.content;
  Banner banner{.identifier = kept.request.identifier};
  banner.title = shownText(content.title, kLongestTitle);
  std::replace(banner.title.begin(), banner.title.end(), '\n', ' ');
  const std::string subtitle = shownText(content.subtitle, kLongestTitle);
  const std::string body = shownText(content.body, kLongestBody);
  banner.body = subtitle + (subtitle.empty() || body.empty() ? "" : "\n") + body;
  if (banner.title.empty()) banner.title = applicationName_;
  if (!kept.isSilent) banner.sound = content.sound;
  if (!content.attachments.empty()) banner.image = content.attachments.front();
  if (const UNNotificationCategory* category = categoryOf(kept.request)) {
    for (const UNNotificationAction& action : category->actions) {
      const std::string label = shownText(action.title, kLongestTitle);
      if (action.identifier.isString() && !label.empty()) {
        banner.buttons.push_back({std::string(action.identifier.string()), label});
      }
    }
  }
  return banner;
}

}  // namespace zn
