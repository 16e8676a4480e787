// One piece of the work of an application, or of its extension: `fault_worker HOME WORK`. Standard output tells what
// came of it, a line each:
//
//     kept LINE    the operation reported that this is stored
//     done LINE    the operation came to its end; it has no result
//     removed LINE the opposite: this is not stored any more
//     tracked LINE the same of an event, which only the end of a process, not a power cut, must leave
//     said TEXT    a failure that the host learned of; diagnostics are on standard error, as always
//
// `check` synchronises once more and tells what is there instead, as those LINEs.

#include <unistd.h>

#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNDevices/Simulator/Simulator.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/HeadlessDevice.h"
#include "ZintarCore/ZNConfigDataManager.h"

extern "C" void zn_files_note(const char* text);

namespace {

using zn::Value;

constexpr unsigned kPatience = 60;  // seconds; what takes longer hangs
constexpr int kEvents = 1;
constexpr int kInbox = 7;
constexpr int kTriggers = 9;
constexpr const char* kGroup = "group.zintar";

void tell(const std::string& line) {
  zn_files_note(line.c_str());
  std::cout << line << std::endl;
}

Value json(const std::string& text) { return zn::parseJson(text).value(); }

std::string payload(const std::string& campaign) {
  return R"({"aps": {"alert": "Your order"}, "zintar": {"cid": ")" + campaign + R"(", "app_id": "app-1"}})";
}

using Names = std::vector<std::string>;

Value inboxAnswer(const Names& campaigns) {
  Value messages = Value::array();
  for (const std::string& each : campaigns) messages.append(json(R"({"data": )" + payload(each) + "}"));
  return Value::dictionary({{"messagesInfo", messages}});
}

Value triggerAnswer(const Names& campaigns) {
  Value list = Value::array();
  for (const std::string& each : campaigns) {
    list.append(json(R"({"campaign_id": ")" + each + R"(", "trigger_event_name": "opened", "status": "active",
                         "expiry": 4070908800000, "payload": )" +
                     payload(each) + "}"));
  }
  return Value::dictionary({{"campaigns", list}});
}

/// The application, on a simulated device.
class Application {
 public:
  explicit Application(const std::string& home) : device_(zn::Simulator::install({.home = home})) {
    device_->setEffectObserver([this](const zn::Effect& effect) { noteEffect(effect); });
    device_->setServerAnswer(kEvents, Value::dictionary());
    ZNConfigDataManager::sharedInstance()->apply(json(R"({"server": {"endpoints": {"1": "/events"}}})"));
  }
  zn::Simulator& device() { return *device_; }
  void start() {
    ZNMessaging::sharedInstance()->initializeMessagingWithLaunchOptions(zn::nil);
    device_->runUntilIdle();
  }
  void synchronise() {
    ZNInboxHandler::sharedInstance()->syncInboxNotificationsWithCompletionHandler(nullptr);
    device_->runUntilIdle();
  }
  void track(const std::string& name) {
    ZNAnalytics::sharedInstance()->trackEvent(name, nullptr);
    tell("tracked event " + name);
  }
  void flush() {
    ZNAnalytics::sharedInstance()->flushWithCompletionBlock(nullptr);
    device_->runUntilIdle();
  }

 private:
  void noteEffect(const zn::Effect& effect) {
    if (effect.kind != "request" || effect.value() != Value(kEvents)) return;
    for (const Value& event : effect.fields["body"]["events"].elements()) {
      tell("sent " + std::string(event["id"].string()) + " " + std::string(event["name"].string()));
    }
  }
  const std::shared_ptr<zn::Simulator> device_;
};

/// As an extension does.
void appendAll(const Names& campaigns) {
  for (const std::string& each : campaigns) {
    std::string error;
    const bool kept = NSUserDefaults::initWithSuiteName(kGroup)->tryAppend(
        json(payload(each)), {"app-1", zn::payload::pendingNotifications}, error);
    tell(kept ? "kept inbox " + each + " new" : "said " + error);
  }
}

void prepare(Application& application) {
  application.device().setServerAnswer(kInbox, inboxAnswer({"a", "b", "c"}));
  application.device().setServerAnswer(kTriggers, triggerAnswer({"t1", "t2"}));
  application.start();
  application.synchronise();
  application.device().holdRequests(kInbox);
  application.synchronise();
  application.device().tap(json(payload("c")));  // waits in a file of its own
  application.device().runUntilIdle();
  appendAll({"p1", "p2"});
  application.track("e1");
  application.track("e2");
}

void click(Application& application, const std::string& campaign) {
  application.device().tap(json(payload(campaign)));
  application.device().runUntilIdle();
  tell("done inbox " + campaign + " clicked");
}

void drainAndRemove(Application& application, const std::string& campaign) {
  application.synchronise();
  zn_files_note(("removing inbox " + campaign).c_str());
  ZNInboxHandler::sharedInstance()->removeNotificationForCampaignID(campaign);
  tell("removed inbox " + campaign);
}

void clickInSync(Application& application, const std::string& campaign, const std::string& fromServer) {
  application.device().holdRequests(kInbox);
  application.synchronise();
  application.device().tap(json(payload(campaign)));
  application.device().advance(2);
  tell("done inbox " + campaign + " clicked");
  application.device().answerOldestRequest(kInbox, inboxAnswer({fromServer}));
  application.device().advance(2);
  tell("done inbox " + fromServer + " new");
}

void triggers(Application& application, const std::string& campaign) {
  application.device().setServerAnswer(kTriggers, triggerAnswer({campaign}));
  application.device().advance(4000);  // the last synchronisation is too young before
  ZNDeviceTriggersHandler::sharedInstance()->syncDeviceTriggersWithCompletionBlock(nullptr);
  application.device().runUntilIdle();
  tell("done trigger " + campaign);
}

void flush(Application& application, const std::string& event) {
  application.track(event);
  application.flush();
}

void day(Application& application) {
  for (const char* const hour : {"6", "8", "10", "12", "14", "16", "18", "20"}) {
    const std::string suffix = std::string("-") + hour;
    appendAll({"x" + suffix, "y" + suffix});
    click(application, "x" + suffix);
    drainAndRemove(application, "y" + suffix);
    clickInSync(application, "b" + suffix, "d" + suffix);
    triggers(application, "t" + suffix);
    flush(application, "e" + suffix);
  }
}

void check(Application& application) {
  application.synchronise();
  application.flush();
  const zn::InboxListPtr entries = ZNInboxHandler::sharedInstance()->getAllNotificationModelObjs();
  for (const auto& entry : *entries) {
    tell("inbox " + std::string(entry->campaignID().string()) + (entry->clickedDate().isNil() ? " new" : " clicked"));
  }
  const auto fields = ZNDeviceTriggersDataManager::sharedInstance()->activeDeviceTriggers()->fields();
  for (const auto& campaign : fields.campaigns()) tell("trigger " + std::string(campaign->campaignID().string()));
}

const std::map<std::string, void (*)(Application&)> works{
    {"prepare", prepare},
    {"check", check},
    {"click", [](Application& application) { click(application, "a"); }},
    {"drain", [](Application& application) { drainAndRemove(application, "p2"); }},
    {"clickInSync", [](Application& application) { clickInSync(application, "b", "d"); }},
    {"triggers", [](Application& application) { triggers(application, "t3"); }},
    {"flush", [](Application& application) { flush(application, "e3"); }},
    {"day", day}};

/// The extension is a process of its own.
void append(const std::string& home) {
  zn::Device::install(std::make_shared<zn::HeadlessDevice>(
      zn::HeadlessDevice::Options{.home = home,
                                  .mainQueue = zn::HeadlessDevice::MainQueue::pumped,
                                  .backgroundThreads = 1,
                                  .sharedStoresOnly = true}));
  appendAll({"p3", "p4"});
}

int run(const std::string& home, const std::string& work) {
  try {
    if (work == "append") {
      append(home);
      return 0;
    }
    Application application(home);
    if (work != "prepare") application.start();
    works.at(work)(application);
    if (work == "prepare") return 0;
    application.device().enterForeground();  // when every store tries again
    application.device().runUntilIdle();
    return 0;
  } catch (const zn::Exception& problem) {
    tell("said " + problem.reason());  // the device cannot be made, and the host knows
    return 3;
  }
}

}  // namespace

int main(int, char** arguments) {
  alarm(kPatience);
  return run(arguments[1], arguments[2]);
}
