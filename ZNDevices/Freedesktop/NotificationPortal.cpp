#include "ZNDevices/Freedesktop/NotificationPortal_p.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "ZNDevices/Freedesktop/Sandbox_p.h"
#include "ZNPlatform/Foundation/TextEncoding.h"

namespace zn {

namespace {

constexpr const char* kInterface = "org.freedesktop.portal.Notification";
constexpr double kPatience = 10;  // seconds; the portal may have to start first

/// Hexadecimal, since some servers take a button's name apart at its punctuation.
std::string targetOf(const std::string& identifier, const std::string& action) {
  const auto hex = [](const std::string& text) { return hexText(Data(text.begin(), text.end())); };
  return hex(identifier) + "-" + hex(action);
}

}  // namespace

NotificationPortal::Click NotificationPortal::clickOf(std::string_view target) {
  const auto text = [](std::string_view hex) {
    const std::optional<Data> bytes = dataFromHexText(hex);
    return bytes ? std::string(bytes->begin(), bytes->end()) : "";
  };
  const std::size_t middle = std::min(target.find('-'), target.size());
  return {text(target.substr(0, middle)), text(target.substr(std::min(middle + 1, target.size())))};
}

void NotificationPortal::connected() {
  state_ = State::unknown;
  isLooking_ = false;
}

/// Not earlier: to ask starts a portal that the session can start, and few sessions need one.
void NotificationPortal::look() {
  if (!bus_.isConnected() || std::exchange(isLooking_, true)) return;
  const auto clicked = [this](BusMessage& signal) {
    signal.readString();  // the identifier, which the target has, too
    if (signal.readString() != kAction) return;
    const Value targets = signal.readValue();
    if (targets.size() == 0) return;
    const Click click = clickOf(targets.elements()[0].string());
    client_.acted(*this, click.identifier, click.action, "");
  };
  bus_.watchSignals(
      std::string("type='signal',sender='") + kPortalName + "',interface='" + kInterface + "',member='ActionInvoked'",
      clicked);
  bus_.watchOwner(kPortalName, [this](const std::string&) { askVersion(); });
}

void NotificationPortal::disconnected() {
  ++asked_;
  state_ = State::missing;
  client_.serverChanged();
}

/// Also where nobody owns the name: asking starts a portal that the session can start.
void NotificationPortal::askVersion() {
  BusMessage call = bus_.makeCall(kPortalName, kPortalPath, "org.freedesktop.DBus.Properties", "Get");
  call.append("ss", kInterface, "version");
  bus_.call(std::move(call), kPatience, [this, number = ++asked_](BusMessage&, const std::string& error) {
    if (number != asked_) return;
    const State now = error.empty() ? State::ready : State::missing;
    if (std::exchange(state_, now) != now) client_.serverChanged();
  });
}

std::vector<std::string> NotificationPortal::missing() const {
  if (state_ == State::unknown) return {};
  if (state_ == State::missing) return {bus_.isConnected() ? "a notification portal" : "a session bus"};
  return {"word of dismissed notifications", "images and sounds in notifications"};
}

BusMessage NotificationPortal::makeCall(const char* member) {
  return bus_.makeCall(kPortalName, kPortalPath, kInterface, member);
}

void NotificationPortal::show(const Banner& banner, const std::string&,
                              std::function<void(const std::string& handle)> shown) {
  // Only what begins with "app." starts an application that does not run; outside a sandbox the portal does not know
  // which application it is, and sends a signal.
  const std::string action = std::string(isSandboxed_ ? "app." : "") + kAction;
  BusMessage call = makeCall("AddNotification");
  call.append("s", banner.identifier.c_str());
  call.container('a', "{sv}", [&] {
    call.append("{sv}", "title", "s", banner.title.c_str());
    call.append("{sv}", "body", "s", banner.body.c_str());
    call.append("{sv}", "priority", "s", "normal");
    call.append("{sv}", "default-action", "s", action.c_str());
    call.append("{sv}", "default-action-target", "s", targetOf(banner.identifier, "").c_str());
    if (banner.buttons.empty()) return;
    call.container('e', "sv", [&] {
      call.append("s", "buttons");
      call.container('v', "aa{sv}", [&] {
        call.container('a', "a{sv}", [&] {
          for (const Banner::Button& button : banner.buttons) {
            call.append("a{sv}", 3, "label", "s", button.label.c_str(), "action", "s", action.c_str(), "target", "s",
                        targetOf(banner.identifier, button.action).c_str());
          }
        });
      });
    });
  });
  bus_.call(std::move(call), kPatience,
            [shown = std::move(shown), identifier = banner.identifier](BusMessage&, const std::string& error) {
              shown(error.empty() ? identifier : "");
            });
}

void NotificationPortal::close(const std::string& handle) {
  bus_.call(makeCall("RemoveNotification").append("s", handle.c_str()), kPatience,
            [](BusMessage&, const std::string&) {});
}

}  // namespace zn
