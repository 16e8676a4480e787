#include "ZNMessaging/Utils/ModuleState_p.h"

#include <atomic>
#include <utility>

#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"

namespace {
std::atomic<std::uint64_t> generation{0};
std::atomic<std::uint64_t> generationOfTriggers{0};
}  // namespace

std::uint64_t zn::userGeneration() { return generation.load(); }
void zn::userWasReset() { ++generation; }
std::uint64_t zn::triggerGeneration() { return generationOfTriggers.load(); }
void zn::triggersWereStopped() { ++generationOfTriggers; }

bool zn::isSwitchedOn() {
  return ZNConfigDataManager::sharedInstance()->isAccountActive() && ZNCoreUtils::isSDKEnabled();
}

void zn::checkAlertsAllowed(std::function<void(bool)> completion) {
  constexpr const char* kSelector = "checkPushNotificationsSettingsWithCompletionBlock:";
  constexpr const char* kFailure = "Exception while notification action : %@";
  guarded(kSelector, kFailure, [&] {
    UNUserNotificationCenter::currentNotificationCenter()->getNotificationSettingsWithCompletionHandler(
        [answer = guardedOnce(kSelector, kFailure, std::move(completion))](const UNNotificationSettings& settings) {
          answer(settings.alertSetting == UNNotificationSetting::enabled);
        });
  });
}
