#include "ZNDevices/Freedesktop/NotificationDaemon_p.h"

#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <utility>

namespace zn {

namespace {

constexpr const char* kName = "org.freedesktop.Notifications";
constexpr const char* kPath = "/org/freedesktop/Notifications";
constexpr double kPatience = 5;                        // seconds, for what it can do
constexpr double kPatienceToShow = 10;                 // it may have to start first
constexpr std::string_view kActionPrefix = "action:";  // so that no button is taken for a click on the body
constexpr const char* kClickOnBody = "default";
constexpr std::int32_t kAsTheServerLikes = -1;  // how long it is shown
constexpr std::uint8_t kNormalUrgency = 1;

std::string withoutMarkup(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::uint32_t numberOf(const std::string& handle) {
  std::uint32_t number = 0;
  std::from_chars(handle.data(), handle.data() + handle.size(), number);
  return number;
}

/// The name of a sound in the theme; a push names it, so it must not be a path.
std::string soundName(const UNNotificationSound& sound) {
  constexpr const char* kUsual = "message-new-instant";
  const std::string name = sound.name.substr(0, sound.name.rfind('.'));
  const bool isName = !name.empty() && name.size() <= 100 && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
  });
  return sound.isDefault || !isName ? kUsual : name;
}

bool isFile(const std::string& path) {
  struct stat found {};
  return path.starts_with('/') && ::stat(path.c_str(), &found) == 0 && S_ISREG(found.st_mode);
}

}  // namespace

void NotificationDaemon::connected() {
  bus_.watchSignals(std::string("type='signal',interface='") + kName + "',path='" + kPath + "'",
                    [this](BusMessage& signal) { received(signal); });
  bus_.watchOwner(kName, [this](const std::string& owner) { ownerIs(owner); });
}

void NotificationDaemon::disconnected() {
  ++asked_;
  owner_.clear();
  becomes(State::missing, {});
}

void NotificationDaemon::ownerIs(const std::string& owner) {
  if (owner == owner_ && state_ != State::unknown) return;
  const bool isGone = !owner_.empty() && owner.empty();
  owner_ = owner;
  if (isGone) {
    ++asked_;
    return becomes(State::missing, {});
  }
  if (state_ == State::ready) becomes(State::unknown, {});  // another one took its place
  askCapabilities();  // also where nobody owns the name yet: asking starts a server that the session can start
}

void NotificationDaemon::askCapabilities() {
  isForgetful_ = isFaithful_ = false;
  const unsigned number = ++asked_;
  bus_.call(makeCall("GetServerInformation"), kPatience, [this, number](BusMessage& answer, const std::string& error) {
    if (number != asked_) return;  // of the server before
    const std::string name = error.empty() ? answer.readString() : "";
    isForgetful_ = name == "gnome-shell";
    isFaithful_ = name == "dunst";
  });
  const auto answered = [this, number](BusMessage& answer, const std::string& error) {
    if (number != asked_) return;
    isSilent_ = error == SD_BUS_ERROR_NO_REPLY || error == "org.freedesktop.DBus.Error.Timeout" ||
                error == "org.freedesktop.DBus.Error.TimedOut";
    if (!error.empty() && owner_.empty()) return becomes(State::missing, {});
    std::set<std::string> capabilities;
    const Value answers = error.empty() ? answer.readValue() : nil;
    for (const Value& each : answers.elements()) capabilities.emplace(each.string());
    if (owner_.empty()) owner_ = sd_bus_message_get_sender(answer.get());
    becomes(State::ready, std::move(capabilities));
  };
  bus_.call(makeCall("GetCapabilities"), kPatience, answered);
}

void NotificationDaemon::becomes(State state, std::set<std::string> capabilities) {
  state_ = state;
  capabilities_ = std::move(capabilities);
  instance_ = state == State::ready ? bus_.identity() + "/" + owner_ : "";
  if ((isForgetful_ || isFaithful_) && state == State::ready) instance_ += "/" + bus_.ownName();
  tokens_.clear();
  client_.serverChanged();
}

bool NotificationDaemon::inherits(const std::string& instance) const {
  return isFaithful_ && instance.starts_with(bus_.identity() + "/" + owner_ + "/");
}

std::vector<std::string> NotificationDaemon::missing() const {
  if (state_ == State::unknown) return {};
  if (state_ == State::missing) return {bus_.isConnected() ? "a notification server" : "a session bus"};
  if (isSilent_) return {"a notification server that answers"};
  std::vector<std::string> lacks;
  if (!can("actions")) lacks.emplace_back("clicks and buttons in notifications");
  if (!can("body")) lacks.emplace_back("texts below the titles of notifications");
  if (!can("persistence")) lacks.emplace_back("notifications that stay until they are read");
  return lacks;
}

BusMessage NotificationDaemon::makeCall(const char* member) { return bus_.makeCall(kName, kPath, kName, member); }

void NotificationDaemon::show(const Banner& banner, const std::string& replaced,
                              std::function<void(const std::string& handle)> shown) {
  std::string title = banner.title;
  std::string body = banner.body;
  if (!can("body") && !capabilities_.empty() && !body.empty()) {
    title += ": " + std::exchange(body, "");
    std::replace(title.begin(), title.end(), '\n', ' ');
  }
  if (can("body-markup")) body = withoutMarkup(body);
  BusMessage call = makeCall("Notify");
  call.append("susss", identity_.name.c_str(), numberOf(replaced), identity_.icon.c_str(), title.c_str(), body.c_str());
  appendActions(call, banner);
  appendHints(call, banner);
  call.append("i", kAsTheServerLikes);
  bus_.call(std::move(call), kPatienceToShow, [shown = std::move(shown)](BusMessage& answer, const std::string& error) {
    const std::int64_t number = error.empty() ? answer.readValue().integer() : 0;
    shown(number > 0 ? std::to_string(number) : "");
  });
}

void NotificationDaemon::appendActions(BusMessage& call, const Banner& banner) const {
  call.container('a', "s", [&] {
    if (!can("actions")) return;
    call.append("ss", kClickOnBody, "Open");
    for (const Banner::Button& button : banner.buttons) {
      call.append("ss", (std::string(kActionPrefix) + button.action).c_str(), button.label.c_str());
    }
  });
}

void NotificationDaemon::appendHints(BusMessage& call, const Banner& banner) const {
  call.container('a', "{sv}", [&] {
    call.append("{sv}", "desktop-entry", "s", identity_.applicationID.c_str());
    call.append("{sv}", "urgency", "y", kNormalUrgency);
    if (!banner.sound) {
      call.append("{sv}", "suppress-sound", "b", 1);
    } else if (can("sound")) {
      call.append("{sv}", "sound-name", "s", soundName(*banner.sound).c_str());
    }
    if (isFile(banner.image)) call.append("{sv}", "image-path", "s", banner.image.c_str());
  });
}

void NotificationDaemon::close(const std::string& handle) {
  bus_.call(makeCall("CloseNotification").append("u", numberOf(handle)), kPatience,
            [](BusMessage&, const std::string&) {});
}

void NotificationDaemon::received(BusMessage& signal) {
  const char* sender = sd_bus_message_get_sender(signal.get());
  if (!sender || owner_ != sender) return;
  const std::string member = sd_bus_message_get_member(signal.get());
  const auto number = static_cast<std::uint32_t>(signal.readValue().integer());
  const std::string handle = std::to_string(number);
  if (member == "ActivationToken") {
    tokens_[number] = signal.readString();
  } else if (member == "ActionInvoked") {
    std::string action = signal.readString();
    const auto token = tokens_.extract(number);
    if (action == kClickOnBody) {
      action.clear();
    } else if (action.starts_with(kActionPrefix)) {
      action.erase(0, kActionPrefix.size());
    } else {
      return;  // none of ours
    }
    client_.acted(*this, handle, action, token ? token.mapped() : "");
  } else if (member == "NotificationClosed") {
    constexpr std::int64_t kDismissed = 2;
    constexpr std::int64_t kByCall = 3;
    const std::int64_t reason = signal.readValue().integer();
    tokens_.erase(number);
    client_.closed(*this, handle,
                   reason == kDismissed ? Closing::dismissed
                   : reason == kByCall  ? Closing::byUs
                                        : Closing::expired);
  }
}

}  // namespace zn
