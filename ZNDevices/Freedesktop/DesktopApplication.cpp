#include "ZNDevices/Freedesktop/DesktopApplication_p.h"

#include <algorithm>
#include <utility>

namespace zn {

namespace {

/// What a launcher passes on, so that a window may come to the front.
std::string tokenOf(const Value& platformData) {
  for (const char* key : {"activation-token", "desktop-startup-id"}) {
    if (platformData[key].isString()) return std::string(platformData[key].string());
  }
  return "";
}

}  // namespace

DesktopApplication::DesktopApplication(Device& device, SessionBus& bus, const std::string& file,
                                       std::string applicationID, Hooks hooks)
    : device_(device),
      bus_(bus),
      applicationID_(std::move(applicationID)),
      hooks_(std::move(hooks)),
      store_(device, bus, file, [this] {
        return Value::dictionary({{"badge", badge()}});
      }) {
  DeviceApplication::setBadge(static_cast<long>(store_.load()["badge"].integer()));
}

bool DesktopApplication::isBusName(const std::string& applicationID) {
  if (applicationID.size() > 255 || applicationID.starts_with(':')) return false;
  return sd_bus_service_name_is_valid(applicationID.c_str()) > 0;
}

std::string DesktopApplication::pathOf(const std::string& applicationID) {
  std::string path = "/" + applicationID;
  std::replace(path.begin(), path.end(), '.', '/');
  std::replace(path.begin(), path.end(), '-', '_');
  return path;
}

void DesktopApplication::setBadge(long number) {
  if (badge() == number) return;
  DeviceApplication::setBadge(number);
  bus_.perform([this] {
    store_.changed();
    showBadge();
  });
}

void DesktopApplication::showBadge() {
  BusMessage signal =
      bus_.makeSignal("/com/canonical/unity/launcherentry/1", "com.canonical.Unity.LauncherEntry", "Update");
  signal.append("s", ("application://" + applicationID_ + ".desktop").c_str());
  signal.container('a', "{sv}", [&] {
    signal.append("{sv}", "count", "x", static_cast<std::int64_t>(badge()));
    signal.append("{sv}", "count-visible", "b", badge() > 0 ? 1 : 0);
  });
  bus_.send(signal);
}

void DesktopApplication::setHost(const std::weak_ptr<DesktopHost>& host) {
  const Lock lock(mutex_);
  host_ = host;
}

std::shared_ptr<DesktopHost> DesktopApplication::host() const {
  const Lock lock(mutex_);
  return host_.lock();
}

void DesktopApplication::open(const std::string& token, Task task) {
  device_.queues->async(Queue::main, [this, token, task = std::move(task)] {
    UIApplicationState before = UIApplicationState::background;
    const bool isOpening = state_.compare_exchange_strong(before, UIApplicationState::inactive);
    runTask(task, *device_.systemLog);
    if (isOpening) {
      UIApplicationState opening = UIApplicationState::inactive;
      state_.compare_exchange_strong(opening, UIApplicationState::background);
    }
    if (const auto asked = host()) asked->activate(token);
  });
}

void DesktopApplication::connected() {
  if (badge() > 0) showBadge();
  if (!isBusName(applicationID_)) return hooks_.nameIsOurs(false);
  exportApplication();
  bus_.watchOwner(applicationID_, [this](const std::string& owner) {
    if (owner.empty()) {
      bus_.requestName(applicationID_, hooks_.nameIsOurs);
    } else if (owner != bus_.ownName()) {
      hooks_.nameIsOurs(false);  // until that one ends, such as an earlier process of the application
    }
  });
}

void DesktopApplication::exportApplication() {
  const auto activate = [this](BusCall call) {
    open(tokenOf(call.arguments().readValue()), [] {});
    call.answer();
  };
  const auto openLinks = [this](BusCall call) {
    std::vector<std::string> links;
    const Value uris = call.arguments().readValue();
    for (const Value& uri : uris.elements()) links.emplace_back(uri.string());
    open(tokenOf(call.arguments().readValue()), [this, links] {
      if (const auto asked = host()) asked->open(links);
    });
    call.answer();
  };
  const auto act = [this](BusCall call) {
    const std::string name = call.arguments().readString();
    const Value targets = call.arguments().readValue();
    const std::string target(targets.size() > 0 ? targets.elements()[0].string() : "");
    hooks_.acted(name, target, tokenOf(call.arguments().readValue()));
    call.answer();
  };
  bus_.exportMethods(pathOf(applicationID_), kInterface,
                     {{"Activate", "a{sv}", "", activate},
                      {"Open", "asa{sv}", "", openLinks},
                      {"ActivateAction", "sava{sv}", "", act}});
}

}  // namespace zn
