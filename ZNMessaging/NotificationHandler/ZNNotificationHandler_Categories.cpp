#include <algorithm>

#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/NotificationHandler/CategorySet.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/Utils/ModuleState_p.h"
#include "ZNMessaging/Utils/ZNMessagingUtils.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNLogger.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace {

constexpr const char* kName = "name";
constexpr const char* kActions = "actions";
constexpr const char* kActionsIdentifier = "actionsIdentifier";

/// The record of a category, or nil for one without a usable button.
zn::Value recordOf(const UNNotificationCategory& category) {
  if (category.identifier.length() == 0) return zn::nil;
  zn::Value titles = zn::Value::array();
  zn::Value identifiers = zn::Value::array();
  for (const UNNotificationAction& action : category.actions) {
    if (action.title.isNil() || action.identifier.isNil()) continue;
    titles.append(action.title);
    identifiers.append(action.identifier);
  }
  if (titles.isEmpty()) return zn::nil;
  return zn::Value::dictionary({{kName, category.identifier}, {kActions, titles}, {kActionsIdentifier, identifiers}});
}

/// The title of a button; of several records that have it the last decides.
zn::Value titleOf(const zn::Value& identifier, const zn::Value& records) {
  zn::Value title;
  for (const zn::Value& record : records.elements()) {
    const zn::Value identifiers = record.validObjectForKey(kActionsIdentifier);
    const zn::Value titles = record.validObjectForKey(kActions);
    const auto known = identifiers.elements();
    const auto found = std::find(known.begin(), known.end(), identifier);
    const auto index = static_cast<std::size_t>(found - known.begin());
    if (found != known.end() && index < titles.size()) title = titles.elements()[index];
  }
  return title;
}

}  // namespace

void ZNNotificationHandler::setNotificationCategories(const zn::CategorySet& categories) {
  zn::guarded("setNotificationCategories:", "Exception while setting categories : %@", [&] {
    if (categories.holdsOthers) throw zn::Exception("an object in the set is no UNNotificationCategory");
    zn::Value records = zn::Value::array();
    for (const UNNotificationCategory& category : categories.categories) records.append(recordOf(category));
    sendCategoriesWithArray(records);
  });
}

void ZNNotificationHandler::sendCategoriesWithArray(const zn::Value& records) {
  zn::guarded("sendCategoriesWithArray:", "Exception while setting categories : %@", [&] {
    const auto defaults = ZNCoreUtils::getSDKUserDefault();
    // Kept before any check: buttons are looked up there also when nothing is sent.
    defaults->setObject(records, kUserDefaultsKeyNotificationCategory);
    defaults->synchronize();
    if (!ZNCoreUtils::isSDKEnabled()) return zn::log("Categories API not called. SDK Disabled");
    if (ZNConfigDataManager::sharedInstance()->getZinAppID().length() == 0) {
      return zn::log("Categories API not called. AppID not present");
    }
    const zn::Value params =
        ZNNetworkConfiguration::sharedInstance()->getQueryParamsBodyDictForService(ZNService::categories);
    if (params.isNil()) return zn::log("Notification Categories request Failed since query params ");
    const zn::Value body = zn::Value::dictionary({{"data", records}, {"query_params", params}});
    zn::log("Notification Categories request initiated:");
    ZNNetworkRequest::initWithService(ZNService::categories, zn::nil, zn::nil, body, zn::nil)
        ->executeRequestWithCompletionBlock([](bool success, const zn::Value&) {
          zn::guarded("sendCategoriesWithArray:", "Exception while setting categories : %@", [&] {
            if (!success) return zn::log("Unable to send Notification Categories, Server Error");
            zn::log("Notification Categories  Sent");
            const auto store = ZNCoreUtils::getSDKUserDefault();
            store->setBool(true, kUserDefaultsKeyNotificationCategorySent);
            store->synchronize();
          });
        });
  });
}

void ZNNotificationHandler::handleActionWithIdentifier(const zn::Value& identifier, const zn::Value& payload) {
  zn::guarded("handleActionWithIdentifier:forRemoteNotification:", "Exception while notification action : %@", [&] {
    if (!ZNConfigDataManager::sharedInstance()->isAccountActive()) return;
    if (identifier.isNil() || payload.isNil()) return;
    zn::Value attributes = ZNMessagingUtils::statsEventAttributesFromPayload(payload);
    const zn::Value records = ZNCoreUtils::getSDKUserDefault()->objectForKey(kUserDefaultsKeyNotificationCategory);
    attributes.setObjectNilHandled(titleOf(identifier, records), kEventAttributeNameAction);
    attributes.setObjectNilHandled(identifier, kEventAttributeNameActionIdentifier);
    ZNAnalytics::sharedInstance()->trackEvent(kEventNameNotificationClicked,
                                              ZNProperties::initWithAttributes(attributes));
    ZNAnalytics::sharedInstance()->flushWithCompletionBlock(nullptr);
  });
}

void ZNNotificationHandler::checkPushNotificationsSettingsWithCompletionBlock(
    std::function<void(bool isAllowed)> completion) {
  zn::checkAlertsAllowed(std::move(completion));
}
