#include "ZNMessaging/ZNMessaging.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "ZNMessaging/AppDelegateSwizzler/ZNAppDelegateMessagingProxy.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/UserReset_p.h"
#include "ZNMessaging/Utils/HostSettings_p.h"
#include "ZNMessaging/Utils/OwnerToken_p.h"
#include "ZNMessaging/Utils/ZNMessagingUtils.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/UserSession.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNLogger.h"

namespace {

constexpr const char* kInitializationFailure = "exception while initializing Messaging: %@";

[[maybe_unused]] const bool isStartKnown = [] {
  zn::HostSettings::setStart([] { ZNMessaging::sharedInstance(); });
  return true;
}();

bool isAccountActive() { return ZNConfigDataManager::sharedInstance()->isAccountActive(); }

/// Runs something once. Others wait until it is done; who runs it may come here again meanwhile.
class FirstUse {
 public:
  template <class Body>
  void run(const Body& body) {
    if (isDone_.load(std::memory_order_acquire)) return;
    std::unique_lock<std::mutex> lock(mutex_.native());
    if (runner_ == std::this_thread::get_id()) return;
    if (runner_ != std::thread::id()) return done_.wait(lock, [this] { return isDone_.load(); });
    runner_ = std::this_thread::get_id();
    lock.unlock();
    body();
    lock.lock();
    isDone_ = true;
    done_.notify_all();
  }

 private:
  zn::Mutex mutex_;
  std::condition_variable done_;
  std::thread::id runner_;  // under mutex_
  std::atomic<bool> isDone_{false};
};

}  // namespace

const std::shared_ptr<ZNMessaging>& ZNMessaging::sharedInstance() {
  static const zn::NeverDestroyed instance(std::make_shared<ZNMessaging>());
  // Outside the guard of the line above: starting calls the host, which may ask for the instance.
  static zn::NeverDestroyed<FirstUse> firstUse;
  firstUse->run([] { (*instance)->start(); });
  return *instance;
}

const zn::Class& ZNMessaging::isa() const {
  using Response = void (ZNMessaging::*)(const std::shared_ptr<UNUserNotificationCenter>&,
                                         const UNNotificationResponse&, const std::function<void()>&);
  static const zn::Class* const mine =
      zn::ClassBuilder<ZNMessaging>("ZNMessaging")
          .conformsTo(kProtocolUserNotificationCenterDelegate)
          .implements(kSelectorDidReceiveNotificationResponse,
                      static_cast<Response>(&ZNMessaging::didReceiveNotificationResponse))
          .implements(kSelectorWillPresentNotification, &ZNMessaging::willPresentNotification)
          .build();
  return *mine;
}

void ZNMessaging::start() {
  zn::guarded("sharedInstance", kInitializationFailure, [&] {
    addObserverForApplicationLifeCycle();
    if (zn::UserReset::isDue()) clearUserInfo();
    ZNAnalytics::sharedInstance()->updateOptOutEvents(getMessagingWhitelistedEvents());
    const auto center = UNUserNotificationCenter::currentNotificationCenter();
    if (!center->delegate()) center->setDelegate(std::static_pointer_cast<ZNMessaging>(shared_from_this()));
    const auto application = UIApplication::sharedApplication();
    // Registering again at every start gives a fresh token.
    if (application->isRegisteredForRemoteNotifications()) application->registerForRemoteNotifications();
  });
}

void ZNMessaging::addObserverForApplicationLifeCycle() {
  zn::guarded("addObserverForApplicationLifeCycle", kInitializationFailure, [&] {
    const auto center = NSNotificationCenter::defaultCenter();
    const auto self = std::static_pointer_cast<ZNMessaging>(shared_from_this());
    // The observers are dropped with their owner, so they may use the plain pointer.
    center->addObserver(self, UIApplicationWillEnterForegroundNotification,
                        [this](const NSNotification&) { applicationEnteredForeground(); });
    center->addObserver(self, kNotificationNameUpdateModules, [this](const NSNotification&) { updateModules(); });
    center->addObserver(self, kNotificationNameUserReset, [this](const NSNotification&) { clearUserInfo(); });
  });
}

void ZNMessaging::initializeMessagingWithLaunchOptions(const zn::Value& launchOptions) {
  zn::guarded("initializeMessagingWithLaunchOptions:", kInitializationFailure, [&] {
    const auto self = std::static_pointer_cast<ZNMessaging>(shared_from_this());
    updateModules();
    ZNAnalytics::sharedInstance()->setMessagingTriggerDelegate(self);
    const auto finish = [self, launchOptions] {
      self->configureAppDelegateProxy();
      self->processLaunchOptions(launchOptions);
    };
    zn::isMainThread() ? finish() : zn::dispatchAsync(zn::Queue::main, finish);
  });
}

void ZNMessaging::configureAppDelegateProxy() {
  zn::guarded("configureAppDelegateProxy", "Exception while configuring app delegate proxy : %@", [] {
    if (!isAccountActive() || !ZNAppDelegateMessagingProxy::canSwizzleMethods()) return;
    zn::log("Set proxy for Push Notification callbacks");
    ZNAppDelegateMessagingProxy::sharedProxy()->swizzleMethodsIfPossible();
  });
}

void ZNMessaging::processLaunchOptions(const zn::Value& launchOptions) {
  zn::guarded("processLaunchOptions:", kInitializationFailure, [&] {
    if (launchOptions.isNil()) return;
    const zn::Selector response = zn::NSSelectorFromString(kSelectorDidReceiveNotificationResponse);
    const auto application = UIApplication::sharedApplication();
    for (const auto& delegate :
         {application->delegate(), UNUserNotificationCenter::currentNotificationCenter()->delegate()}) {
      // Then the click arrives through that callback.
      if (delegate && delegate->respondsToSelector(response)) return;
    }
    const zn::Value payload = launchOptions.validObjectForKey(UIApplicationLaunchOptionsRemoteNotificationKey);
    if (!payload.isNil()) didReceieveNotificationinApplication(application, payload);
  });
}

void ZNMessaging::applicationEnteredForeground() { updateModules(); }

void ZNMessaging::updateModules() {
  zn::guarded("updateModules", "exception in Messaging Module while updating modules is %@", [&] {
    if (!isAccountActive()) return;
    ZNNotificationHandler::sharedInstance()->checkForPushPermission();
    if (!disableBadgeReset()) {
      zn::dispatchAsync(zn::Queue::main, [] { UIApplication::sharedApplication()->setApplicationIconBadgeNumber(0); });
    }
    syncRealTimeTriggersWithCompletionBlock(nullptr);
    ZNInboxHandler::sharedInstance()->retryStorage();
    if (disableInbox()) {
      zn::log("Inbox is disabled in the SDK");
    } else {
      ZNInboxHandler::sharedInstance()->syncInboxNotificationsWithCompletionHandler(nullptr);
    }
  });
}

void ZNMessaging::syncRealTimeTriggersWithCompletionBlock(std::function<void(bool)> completion) {
  constexpr const char* kSelector = "syncRealTimeTriggersWithCompletionBlock:";
  constexpr const char* kFailure = "Exception in syncing real-time triggers %@";
  zn::answeredOnce(kSelector, kFailure, std::move(completion), [&](const auto& answer) {
    if (!isAccountActive()) return false;
    const auto& triggers = ZNDeviceTriggersHandler::sharedInstance();
    const bool enabled = triggers->isRealTimeTriggerEnabled();
    if (enabled) ZNDeviceTriggersDataManager::sharedInstance()->retryStorage();
    if (enabled && triggers->shouldFetch()) {
      const zn::OwnerToken owner = zn::OwnerToken::ofTriggers();
      triggers->syncDeviceTriggersWithCompletionBlock([answer, owner](bool success) {
        // An answer that came too late for its user is no failure.
        if (!success && owner.holds()) zn::log("Real-Time Trigger Campaigns sync failure");
        answer(success);
      });
      return true;
    }
    if (!enabled) zn::log("Real-Time Trigger is Disabled for the account‼️");
    return false;
  });
}

zn::Value ZNMessaging::getMessagingWhitelistedEvents() const {
  return zn::Value::array({kEventNameNotificationClicked, kEventNameNotificationReceived,
                           kEventNameNotificationDismissed, kEventNameNotificationReceivedInForeground,
                           kEventNamePushPreferenceChanged, kEventNameDTShownOffline, kEventNameDTScheduled,
                           kEventNameDTScheduleFailed});
}

void ZNMessaging::eventTrackedWithName(const zn::Value& name, const zn::Value& attributes) {
  zn::guarded("eventTrackedWithName:andEventAttr:", "Exception in handling a tracked event : %@", [&] {
    if (!isAccountActive()) return;
    const auto& triggers = ZNDeviceTriggersHandler::sharedInstance();
    if (triggers->isRealTimeTriggerEnabled()) triggers->checkDeviceTriggerForEvent(name, attributes);
  });
}

void ZNMessaging::clearUserInfo() {
  zn::guarded("clearUserInfo", "Exception while clearing the user's data : %@", [] {
    const std::int64_t resets = zn::UserSession::resets();
    zn::OwnerToken::userWasReset();
    ZNDeviceTriggersDataManager::sharedInstance()->forgetUnreadableFiles();
    ZNDeviceTriggersHandler::sharedInstance()->stop();
    ZNInboxHandler::sharedInstance()->forgetUnreadableFiles();
    ZNInboxHandler::sharedInstance()->clearInboxData();
    zn::UserReset::didForget(resets);
  });
}

/// Whether a callback that the host hands on is ours to treat: not for an inactive account, and not while the delegate
/// proxy delivers the same callbacks, which would count a click twice.
bool ZNMessaging::shouldForward() const {
  if (!isAccountActive()) return false;
  if (!ZNCoreUtils::isAppDelegateProxyEnabled() || !ZNMessagingUtils::isAppDelegateProxyConfigured()) return true;
  zn::log("AppDelegate proxy is enabled.");
  return false;
}

void ZNMessaging::didReceieveNotificationinApplication(const std::shared_ptr<UIApplication>& application,
                                                       const zn::Value& info) {
  zn::guarded("didReceieveNotificationinApplication:withInfo:", "Exception in did receive notification : %@", [&] {
    if (shouldForward()) {
      ZNNotificationHandler::sharedInstance()->didReceieveNotificationinApplication(application, info);
    }
  });
}

void ZNMessaging::didReceiveNotificationResponse(const std::shared_ptr<UNUserNotificationCenter>& center,
                                                 const UNNotificationResponse& response) {
  zn::guarded("userNotificationCenter:didReceiveNotificationResponse:", "Exception : %@", [&] {
    if (shouldForward()) ZNNotificationHandler::sharedInstance()->didReceiveNotificationResponse(center, response);
  });
}

void ZNMessaging::setPushToken(const zn::Data& token) {
  zn::guarded("setPushToken:", "Exception while registering for push %@", [&] {
    if (shouldForward()) ZNNotificationHandler::sharedInstance()->setPushToken(token);
  });
}

void ZNMessaging::didFailToRegisterForPush() {
  zn::guarded("didFailToRegisterForPush", "Exception while registering for push %@", [&] {
    if (shouldForward()) ZNNotificationHandler::sharedInstance()->didFailToRegisterForPush();
  });
}

void ZNMessaging::handleActionWithIdentifier(const zn::Value& identifier, const zn::Value& payload) {
  zn::guarded("handleActionWithIdentifier:forRemoteNotification:", "Exception while notification action : %@",
              [&] { ZNNotificationHandler::sharedInstance()->handleActionWithIdentifier(identifier, payload); });
}

void ZNMessaging::didReceiveNotificationResponse(const std::shared_ptr<UNUserNotificationCenter>& center,
                                                 const UNNotificationResponse& response,
                                                 const std::function<void()>& completion) {
  didReceiveNotificationResponse(center, response);
  zn::guardedOnce(kSelectorDidReceiveNotificationResponse, "Exception : %@", completion)();
}

void ZNMessaging::willPresentNotification(const std::shared_ptr<UNUserNotificationCenter>&, const UNNotification&,
                                          const std::function<void(unsigned)>& completion) {
  zn::guardedOnce(kSelectorWillPresentNotification, "Exception : %@", completion)(UNOptionAlert | UNOptionSound);
}

bool ZNMessaging::disableInbox() const { return zn::HostSettings::shared().disableInbox; }
void ZNMessaging::setDisableInbox(bool disabled) { zn::HostSettings::shared().disableInbox = disabled; }
bool ZNMessaging::disableBadgeReset() const { return zn::HostSettings::shared().disableBadgeReset; }
void ZNMessaging::setDisableBadgeReset(bool disabled) { zn::HostSettings::shared().disableBadgeReset = disabled; }

std::shared_ptr<ZNMessagingDelegate> ZNMessaging::messagingDelegate() const {
  return zn::HostSettings::shared().messagingDelegate.all().lock();
}

void ZNMessaging::setMessagingDelegate(const std::shared_ptr<ZNMessagingDelegate>& delegate) {
  zn::HostSettings::shared().messagingDelegate.replace(delegate);
}
