// An application that is always busy: `soak_host HOME SERVER NAME`, until its standard input ends. NAME marks what is
// its own. Standard output tells what came of it, a line each, at the earliest when it is on disk:
//
//     kept ID new|clicked      the inbox holds this message ("kept ID doubled new": twice)
//     removing ID, removed ID  before and after a message is removed
//     tracked NAME.NUMBER      an event
//     shown CAMPAIGN COUNT     how often a campaign was shown
//     jumped                   the clock was set
//     open NUMBER              these many operations did not call their completions
//     twice                    an operation called its completion again
//
// `soak_host HOME SERVER check` synchronises and sends events once instead, and tells what is there: "inbox ID
// new|clicked", "shown CAMPAIGN COUNT", "flushed 1" when no event is left.

#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>

#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/HeadlessDevice.h"
#include "ZNPlatform/NotificationRecorder.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace {

using zn::Value;

constexpr std::size_t kLongestInbox = 150;
constexpr double kHour = 3600;

std::mutex outputMutex;

void tell(const std::string& line) {
  const std::lock_guard<std::mutex> lock(outputMutex);
  std::cout << line << std::endl;
}

/// A clock that somebody sets.
class SetClock final : public zn::DeviceClock {
 public:
  explicit SetClock(std::unique_ptr<zn::DeviceClock> real) : real_(std::move(real)) {}
  zn::Date now() const override { return {real_->now().secondsSince1970 + ahead_}; }
  long secondsFromGMT(zn::Date at) const override { return real_->secondsFromGMT(at); }
  void setAhead(double seconds) { ahead_ = seconds; }

 private:
  const std::unique_ptr<zn::DeviceClock> real_;
  std::atomic<double> ahead_{0};
};

/// Operations that have not called their completions yet.
class Open {
 public:
  /// A completion, which runs `then`.
  std::function<void(bool)> completion(std::function<void(bool)> then = nullptr) {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++count_;
    return [this, then = std::move(then), calls = std::make_shared<std::atomic<int>>(0)](bool result) {
      if (then) then(result);
      if ((*calls)++ > 0) return tell("twice");
      const std::lock_guard<std::mutex> guard(mutex_);
      if (--count_ == 0) none_.notify_all();
    };
  }
  bool await() {
    constexpr std::chrono::seconds kPatience(30);
    std::unique_lock<std::mutex> lock(mutex_);
    if (none_.wait_for(lock, kPatience, [this] { return count_ == 0; })) return true;
    tell("open " + std::to_string(count_));
    return false;
  }

 private:
  std::mutex mutex_;
  std::condition_variable none_;
  int count_ = 0;
};

constexpr const char* kConfiguration = R"({
  "accountActive": true, "inboxServiceActive": true, "realTimeTriggersEnabled": true, "realTimeTriggerSyncInterval": 1,
  "appID": "app-1", "appGroupID": "group.soak", "queryParams": {"app": "app-1"},
  "server": {"connectTimeout": 2, "timeout": 3, "endpoints": {"1": "/v1/events", "7": "/v1/inbox",
             "8": "/v1/categories", "9": "/v1/triggers", "10": "/v1/segments"}}})";

class Application {
 public:
  Application(const std::string& home, const std::string& server, std::string name)
      : name_(std::move(name)), random_(std::hash<std::string>()(name_)) {
    const auto device = std::make_shared<zn::HeadlessDevice>(zn::HeadlessDevice::Options{.home = home});
    device->notifications = std::make_unique<zn::NotificationRecorder>();
    auto clock = std::make_unique<SetClock>(std::move(device->clock));
    clock_ = clock.get();
    device->clock = std::move(clock);
    zn::Device::install(device);
    ZNConfigDataManager::sharedInstance()->apply(zn::parseJson(kConfiguration).value());
    ZNConfigDataManager::sharedInstance()->apply(
        Value::dictionary({{"server", Value::dictionary({{"address", server}})}}));
    inbox_ = ZNInboxHandler::sharedInstance();
    ZNMessaging::sharedInstance()->initializeMessagingWithLaunchOptions(zn::nil);
  }

  int check() {
    inbox_->syncInboxNotificationsWithCompletionHandler(open_.completion());
    if (!open_.await()) return EXIT_FAILURE;
    ZNAnalytics::sharedInstance()->flushWithCompletionBlock(
        open_.completion([](bool sent) { tell("flushed " + std::to_string(sent)); }));
    if (!open_.await()) return EXIT_FAILURE;
    for (const auto& [id, state] : messages()) tell("inbox " + id + " " + state);
    for (const auto& [id, count] : showings()) tell("shown " + id + " " + std::to_string(count));
    return EXIT_SUCCESS;
  }

  /// Until standard input ends.
  int work() {
    for (pollfd input{STDIN_FILENO, POLLIN, 0}; poll(&input, 1, pick(20)) == 0;) step();
    return open_.await() ? EXIT_SUCCESS : EXIT_FAILURE;
  }

 private:
  int pick(int below) { return std::uniform_int_distribution<>(0, below - 1)(random_); }

  void step() {
    const int chance = pick(100);
    if (chance < 30) return track(chance < 5 ? "opened" : "walked");
    if (chance < 40) return ZNAnalytics::sharedInstance()->flushWithCompletionBlock(open_.completion());
    if (chance < 50) return click(name_ + "." + std::to_string(++number_));
    if (chance < 60) return clickStored();
    if (chance < 70) return synchronise();
    if (chance < 75) return onMain([] { ZNMessaging::sharedInstance()->updateModules(); });
    if (chance < 80) return enterForeground();
    if (chance < 81) return jump();
    if (chance < 90) return shorten();
    tellWhatIsStored();
  }

  void onMain(std::function<void()> work) {
    zn::dispatchAsync(zn::Queue::main, [work = std::move(work), done = open_.completion()] {
      work();
      done(true);
    });
  }

  /// The user opens the application, and sweeps away what it showed.
  void enterForeground() {
    onMain([] {
      UNUserNotificationCenter::currentNotificationCenter()->removeAllDeliveredNotifications();
      UIApplication::sharedApplication()->deliverWillEnterForeground();
    });
  }

  void track(const std::string& event) {
    const std::string number = name_ + "." + std::to_string(++number_);
    ZNAnalytics::sharedInstance()->trackEvent(event,
                                              ZNProperties::initWithAttributes(Value::dictionary({{"n", number}})));
    tell("tracked " + number);
  }

  void click(const std::string& id) {
    UNNotificationResponse response;
    response.actionIdentifier = UNNotificationDefaultActionIdentifier;
    response.notification.request.content.userInfo =
        Value::dictionary({{"aps", Value::dictionary({{"alert", "Your order " + id}})},
                           {"zintar", Value::dictionary({{"cid", id}, {"app_id", "app-1"}})}});
    onMain([response, id] {
      ZNMessaging::sharedInstance()->didReceiveNotificationResponse(
          UNUserNotificationCenter::currentNotificationCenter(), response);
      tell("kept " + id + " clicked");
    });
  }

  void clickStored() {
    const auto all = messages();
    if (all.empty()) return;
    const auto& [id, state] = *std::next(all.begin(), pick(static_cast<int>(all.size())));
    if (state == "new" && clicking_.insert(id).second) click(id);
  }

  void synchronise() {
    inbox_->syncInboxNotificationsWithCompletionHandler(open_.completion([this](bool) { hasSynchronised_ = true; }));
    ZNDeviceTriggersHandler::sharedInstance()->syncDeviceTriggersWithCompletionBlock(open_.completion());
  }

  void jump() {
    constexpr double kPlaces[] = {0, kHour, 0, -kHour};
    clock_->setAhead(kPlaces[++jumps_ % 4]);
    tell("jumped");
  }

  /// Removes what was there long enough: not what a click that still waits would bring back, as one that an earlier
  /// process left may be until the first synchronisation, and not what the server still sends.
  void shorten() {
    if (!hasSynchronised_) return;
    const zn::InboxListPtr list = inbox_->getAllNotificationModelObjs();
    for (std::size_t index = kLongestInbox; index < list->size(); ++index) {
      const std::string id((*list)[index]->campaignID().string());
      if ((*list)[index]->clickedDate().isNil() && clicking_.contains(id)) continue;
      if (id.starts_with("s") && std::stoi(id.substr(1)) + 60 > newest_) continue;
      clicking_.erase(id);
      tell("removing " + id);
      inbox_->removeNotificationForCampaignID(Value(id));
      tell("removed " + id);
    }
  }

  static std::map<std::string, std::string> messages() {
    std::map<std::string, std::string> all;
    const zn::InboxListPtr list = ZNInboxHandler::sharedInstance()->getAllNotificationModelObjs();
    for (const auto& entry : *list) {
      std::string id(entry->campaignID().string());
      while (all.contains(id)) id += " doubled";
      all[id] = entry->clickedDate().isNil() ? "new" : "clicked";
    }
    return all;
  }

  static std::map<std::string, std::int64_t> showings() {
    std::map<std::string, std::int64_t> all;
    const auto fields = ZNDeviceTriggersDataManager::sharedInstance()->activeDeviceTriggers()->fields();
    for (const auto& each : fields.statuses()) {
      all[std::string(each->campaignID().string())] = each->numberOfTimesShown().longLongValue();
    }
    return all;
  }

  /// What changed since the last time, once it is on disk.
  void tellWhatIsStored() {
    auto all = messages();
    auto shown = showings();
    if (!inbox_->updateInboxStorage()) return tell("unsaved");
    if (!ZNDeviceTriggersDataManager::sharedInstance()->updateDeviceTriggersInPersistentStorage())
      return tell("unsaved");
    for (const auto& [id, state] : all) {
      if (state == "clicked") clicking_.erase(id);
      if (id.starts_with("s")) newest_ = std::max(newest_, std::stoi(id.substr(1)));
      if (toldMessages_[id] != state) tell("kept " + id + " " + state);
    }
    for (const auto& [id, count] : shown) {
      if (toldShowings_[id] != count) tell("shown " + id + " " + std::to_string(count));
    }
    toldMessages_ = std::move(all);
    toldShowings_ = std::move(shown);
  }

  const std::string name_;
  std::mt19937 random_;
  SetClock* clock_ = nullptr;
  std::shared_ptr<ZNInboxHandler> inbox_;
  Open open_;
  std::atomic<bool> hasSynchronised_{false};
  int number_ = 0;
  int jumps_ = 0;
  int newest_ = 0;
  std::set<std::string> clicking_;
  std::map<std::string, std::string> toldMessages_;
  std::map<std::string, std::int64_t> toldShowings_;
};

}  // namespace

int main(int, char** arguments) {
  ::setenv("no_proxy", "127.0.0.1", 1);
  try {
    const std::string name = arguments[3];
    auto* const application = new Application(arguments[1], arguments[2], name);  // lives until the process ends
    return name == "check" ? application->check() : application->work();
  } catch (const zn::Exception& problem) {
    std::cerr << "soak_host: " << problem.reason() << '\n';
    return EXIT_FAILURE;
  }
}
