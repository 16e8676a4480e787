#include "ZNDevices/Simulator/Simulator.h"

#include <atomic>
#include <cmath>

#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNDevices/Simulator/Effects_p.h"
#include "ZNDevices/Simulator/HostObject_p.h"
#include "ZNDevices/Simulator/SimulatedApplication_p.h"
#include "ZNDevices/Simulator/SimulatedNotifications_p.h"
#include "ZNDevices/Simulator/SimulatedScreen_p.h"
#include "ZNDevices/Simulator/SimulatedServer_p.h"
#include "ZNDevices/Simulator/TaskLine_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/Foundation/Storage.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZNRichNotification/ZNRichNotification.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNLogger.h"

namespace zn {

namespace {

/// The same on every run, yet spread.
class SimulatedRandom : public DeviceRandom {
 public:
  double fraction() override {
    constexpr double kGoldenRatio = 0.6180339887498949;
    const double multiple = kGoldenRatio * static_cast<double>(++calls_);
    return multiple - std::floor(multiple);
  }

 private:
  std::atomic<unsigned> calls_{0};
};

class ShowAnalytics : public AnalyticsObserver {
 public:
  explicit ShowAnalytics(EffectSinkPtr effects) : effects_(std::move(effects)) {}
  void eventTracked(const std::string& name, const Value& attributes, bool interactive) override {
    effects_->emit("event", name, {{"attributes", attributes}, {"interactive", interactive}});
  }
  void flushRequested() override { effects_->emit("flush", true); }
  void optOutEventsUpdated(const Value& names) override { effects_->emit("optOutEvents", names); }
  void sourcesUpdated(const std::vector<std::shared_ptr<const ZNSource>>& sources) override {
    Value list = Value::array();
    for (const auto& source : sources) {
      list.append(Value::dictionary({{"kind", kindOf(*source)}, {"value", orNull(source->value())}}));
    }
    effects_->emit("sources", list);
  }
  void userAttributeSet(const std::string& key, const Value& value) override {
    effects_->emit("userAttribute", key, {{"value", value}});
  }
  void pushTokenUpdated() override { effects_->emit("analytics", "pushTokenUpdated"); }
  void deviceUpdated() override { effects_->emit("analytics", "updateDevice"); }
  void pushOptOutStatusSet(const std::string& key, const Value& status) override {
    effects_->emit("analytics", "gdpr", {{"key", key}, {"value", status}});
  }

 private:
  static const char* kindOf(const ZNSource& source) {
    switch (source.kind()) {
      case ZNSource::Kind::push:
        return "push";
      case ZNSource::Kind::zinPush:
        return "zinPush";
      case ZNSource::Kind::url:
        return "url";
      case ZNSource::Kind::info:
        return "info";
    }
    return "";
  }

  const EffectSinkPtr effects_;
};

void showLogLine(const EffectSink& effects, const SimulatedDirectories& folders, const ZNLogger::Line& line) {
  if (line.type == ZNLogger::kDetail) return;
  const std::string text = folders.withoutTemporaryHome(line.text);
  if (line.operation.empty()) {
    effects.emit("log", text, {{"type", line.type}});
  } else {
    effects.emit("error", text, {{"operation", line.operation}});
  }
}

/// What the platform and the core post is no effect of the module.
bool isPostedByOthers(const std::string& name) {
  return name == UIApplicationWillEnterForegroundNotification || name == kNotificationNameUpdateModules ||
         name == kNotificationNameUserReset || name == kNotificationNamePushConsentChanged;
}

Value initialConfiguration() {
  return Value::dictionary({{"accountActive", true},
                            {"sdkEnabled", true},
                            {"inboxServiceActive", true},
                            {"realTimeTriggersEnabled", true},
                            {"appDelegateProxyEnabled", false},
                            {"appID", "app-1"},
                            {"appGroupID", "group.zintar"},
                            {"inboxDefaultExpiry", 0},
                            {"realTimeTriggerSyncInterval", 3600},
                            {"appVersion", "1.0"},
                            {"queryParams", Value::dictionary({{"app", "app-1"}})}});
}

}  // namespace

struct Simulator::Parts {
  explicit Parts(const Device& device) : line(std::make_shared<TaskLine>(device, startOfTime)) {}

  const EffectSinkPtr effects = std::make_shared<EffectSink>();
  const std::shared_ptr<TaskLine> line;
  const std::shared_ptr<SimulatedServer> server = std::make_shared<SimulatedServer>(effects, line);
  HostObjects hostObjects{effects};
  // Owned by the device.
  SimulatedApplication* application = nullptr;
  SimulatedNotifications* notifications = nullptr;
  SimulatedScreen* screen = nullptr;
  SimulatedDirectories* directories = nullptr;
};

Simulator::Simulator(Options options) : parts_(std::make_unique<Parts>(*this)) {
  const auto& effects = parts_->effects;
  auto folders = std::make_unique<SimulatedDirectories>(options.home, effects);
  auto app = std::make_unique<SimulatedApplication>(effects);
  auto center = std::make_unique<SimulatedNotifications>(effects, parts_->line);
  auto display = std::make_unique<SimulatedScreen>(effects);
  parts_->screen = display.get();
  parts_->directories = folders.get();
  parts_->application = app.get();
  parts_->notifications = center.get();
  clock = std::make_unique<SimulatedClock>(parts_->line);
  queues = std::make_unique<SimulatedQueues>(parts_->line);
  random = std::make_unique<SimulatedRandom>();
  directories = std::move(folders);
  application = std::move(app);
  notifications = std::move(center);
  screen = std::move(display);
  systemLog = std::make_unique<SimulatedSystemLog>(effects);
}

Simulator::~Simulator() = default;

std::shared_ptr<Simulator> Simulator::install(Options options) {
  const auto simulator = std::make_shared<Simulator>(std::move(options));
  Device::install(simulator);
  simulator->setTimeZone("UTC0");
  ZNNetworkRequest::setTransport(simulator->parts_->server);
  simulator->observeTheModule();
  ZNConfigDataManager::sharedInstance()->applySilently(initialConfiguration());
  const auto& core = ZNConfigDataManager::sharedInstance();
  core->setPushOptOutObserver([effects = simulator->parts_->effects](bool optedOut) {
    effects->emit("config", "pushOptedOut", {{"value", optedOut}});
  });
  UIApplication::sharedApplication()->setDelegate(simulator->parts_->hostObjects.makeUndescribed("AppDelegate"));
  return simulator;
}

void Simulator::observeTheModule() {
  const EffectSinkPtr effects = parts_->effects;
  ZNLogger::sharedInstance()->setObserver(
      [effects, folders = parts_->directories](const ZNLogger::Line& line) { showLogLine(*effects, *folders, line); });
  ZNAnalytics::sharedInstance()->setObserver(std::make_shared<ShowAnalytics>(effects));
  Storage::setSaveObserver([folders = parts_->directories](const std::string& file) { folders->showSaved(file); });
  NSNotificationCenter::defaultCenter()->addObserver(effects, "", [sink = effects.get()](const NSNotification& posted) {
    if (!isPostedByOthers(posted.name)) sink->emit("broadcast", posted.name, {{"userInfo", posted.userInfo}});
  });
}

std::string Simulator::withoutTemporaryHome(const std::string& text) const {
  return parts_->directories->withoutTemporaryHome(text);
}

void Simulator::setEffectObserver(std::function<void(const Effect&)> observer) {
  parts_->effects->setObserver(std::move(observer));
}

void Simulator::shutDown() {
  ZNLogger::sharedInstance()->setObserver(nullptr);
  ZNAnalytics::sharedInstance()->setObserver(nullptr);
  Storage::setSaveObserver(nullptr);
  ZNConfigDataManager::sharedInstance()->setPushOptOutObserver(nullptr);
  parts_->line->close();
  parts_->effects->setObserver(nullptr);
  parts_->directories->removeIfTemporary();
}

std::size_t Simulator::runUntilIdle() { return parts_->line->advanceTo(now()); }

std::size_t Simulator::advance(double seconds) {
  constexpr double kMost = 1e9;
  if (!(seconds >= 0 && seconds <= kMost)) throw Exception("the clock advances by 0 to 1000000000 seconds");
  return parts_->line->advanceTo(now() + seconds);
}

std::size_t Simulator::moveClock(double to) {
  if (!std::isfinite(to)) throw Exception("the clock needs a finite time");
  const std::size_t ran = to < now() ? runUntilIdle() : 0;
  if (to < now()) parts_->line->setBack(to);
  return ran + parts_->line->advanceTo(to);
}

double Simulator::now() const { return parts_->line->now(); }
void Simulator::setTimeZone(const std::string& zone) { SimulatedClock::setZone(zone); }
void Simulator::runInBackground(const std::function<void()>& body) { parts_->line->runInBackground(body); }

void Simulator::setApplicationState(UIApplicationState state) { parts_->application->setState(state); }

void Simulator::enterForeground() {
  parts_->application->setState(UIApplicationState::active);
  UIApplication::sharedApplication()->deliverWillEnterForeground();
}

void Simulator::setBadge(long number) { parts_->application->setBadgeSilently(number); }
long Simulator::badge() const { return parts_->application->badge(); }
void Simulator::setAlertSetting(UNNotificationSetting setting) { parts_->notifications->setAlertSetting(setting); }

void Simulator::setAuthorizationAnswer(std::optional<std::string> error) {
  const bool isGranted = !error;
  parts_->notifications->setAuthorizationAnswer(isGranted, std::move(error));
}

void Simulator::setAuthorizationRefused() { parts_->notifications->setAuthorizationAnswer(false, std::nullopt); }

void Simulator::setRegisteredForRemoteNotifications(bool registered) { parts_->application->setRegistered(registered); }

void Simulator::setNotificationFailure(std::optional<std::string> error) {
  parts_->notifications->setFailure(std::move(error));
}

void Simulator::setRichContent(bool passes) {
  ZNRichNotification::setPreparer([passes](const UNNotificationRequest& request, ZNRichNotification::Completion done) {
    done(passes ? std::optional(request.content) : std::nullopt);
  });
}

void Simulator::expireBackgroundTasks() { parts_->application->expireBackgroundTasks(*systemLog); }

bool Simulator::press(const std::string& button) { return parts_->screen->press(button, *systemLog); }

void Simulator::setServerAnswer(int service, const Value& answer) { parts_->server->setAnswer(service, answer); }
void Simulator::holdRequests(int service) { parts_->server->hold(service); }

bool Simulator::answerOldestRequest(int service, const Value& answer) {
  return parts_->server->answerOldest(service, answer);
}

std::shared_ptr<Object> Simulator::hostObject(const HostClass& description) {
  return parts_->hostObjects.make(description);
}

std::shared_ptr<Object> Simulator::hostObjectNamed(const std::string& className) const {
  return parts_->hostObjects.find(className);
}

void Simulator::show(Delivery delivery, const char* selector) {
  if (delivery == Delivery::unrecognized) parts_->effects->emit("unhandled", selector);
}

void Simulator::deliver(const Value& payload, bool fetch) {
  const auto app = UIApplication::sharedApplication();
  if (fetch) {
    show(app->deliverRemoteNotification(payload, [](unsigned) {}), kSelectorDidReceiveRemoteNotificationFetch);
  } else {
    show(app->deliverRemoteNotification(payload), kSelectorDidReceiveRemoteNotification);
  }
}

void Simulator::tap(const Value& payload, const std::string& action) {
  const auto center = UNUserNotificationCenter::currentNotificationCenter();
  show(center->deliverResponse(responseFor(payload, action, Date{now()}),
                               [effects = parts_->effects] { effects->emit("responded", true); }),
       kSelectorDidReceiveNotificationResponse);
}

void Simulator::present(const Value& payload) {
  const auto center = UNUserNotificationCenter::currentNotificationCenter();
  show(center->deliverWillPresent(
           notificationFor(payload, Date{now()}),
           [effects = parts_->effects](unsigned options) { effects->emit("presentation", options); }),
       kSelectorWillPresentNotification);
}

void Simulator::remoteToken(const Data& token) {
  show(UIApplication::sharedApplication()->deliverDeviceToken(token), kSelectorDidRegisterForRemoteNotifications);
}

void Simulator::remoteFailure(const std::string& error) {
  show(UIApplication::sharedApplication()->deliverRegistrationFailure(error),
       kSelectorDidFailToRegisterForRemoteNotifications);
}

UNNotification Simulator::notificationFor(const Value& payload, Date date) {
  UNNotification notification;
  notification.date = date;
  notification.request.identifier = "remote";
  UNNotificationContent& content = notification.request.content;
  content.userInfo = payload;
  const Value aps = payload.validObjectForKey("aps");
  const Value alert = aps.validObjectForKey("alert");
  content.title = alert.validObjectForKey("title");
  content.subtitle = alert.validObjectForKey("subtitle");
  content.body = alert.isString() ? alert : alert.validObjectForKey("body");
  content.categoryIdentifier = aps.validObjectForKey("category");
  if (const Value sound = aps.validObjectForKey("sound"); sound.isString()) {
    content.sound = sound.string() == "default" ? UNNotificationSound::defaultSound()
                                                : UNNotificationSound::soundNamed(std::string(sound.string()));
  }
  return notification;
}

UNNotificationResponse Simulator::responseFor(const Value& payload, const std::string& action, Date date) {
  UNNotificationResponse response{notificationFor(payload, date), action};
  if (action == "default") response.actionIdentifier = UNNotificationDefaultActionIdentifier;
  if (action == "dismiss") response.actionIdentifier = UNNotificationDismissActionIdentifier;
  return response;
}

}  // namespace zn
