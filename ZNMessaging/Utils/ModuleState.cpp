#include "ZNMessaging/Utils/ModuleState_p.h"

#include <utility>

#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"

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
