#include <optional>
#include <utility>

#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/NotificationHandler/ZNMessagingDelegate.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/Utils/HostSettings_p.h"
#include "ZNMessaging/Utils/OwnerToken_p.h"
#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/UIKit/UIAlertController.h"
#include "ZNPlatform/UIKit/UIPasteboard.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNLogger.h"

namespace {

/// Logged for the actions of cards too, although it names the default ones: people search logs for failed clicks by it.
constexpr const char* kActionsFailure = "Exception in handle Default Actions Push : %@";
constexpr const char* kCouponAlertFailure = "Exception while showing coupon code alert : %@";
constexpr const char* kSourceFailure = "Exception while updating the app source : %@";

constexpr std::int64_t kCarriedOutHere = 0;  // the action name that is not the extension's
/// What a card's action does. Switches over it have no default, so that the compiler names those that forget one; other
/// numbers, which newer senders may use, pass all of them.
enum class ActionType : std::int64_t { landingPage = 0, deepLink = 1, screen = 2 };

ActionType typeOf(const zn::CardAction& action) { return static_cast<ActionType>(action.actionType()); }

zn::Value valueAt(const zn::Value& payload, const char* part, const char* key) {
  return payload.validObjectForKeyPath(zn::format("%@.%@", part, key));
}

zn::Value ownValue(const zn::Value& payload, const char* key) {
  return valueAt(payload, kNotificationPayloadKeyZintar, key);
}

zn::Value extraValue(const zn::Value& payload, const char* key) {
  return valueAt(payload, kNotificationPayloadKeyAppExtra, key);
}

/// Throws for what is no text: a push with such a link is a mistake that its sender shall find in the log.
std::optional<NSURL> urlOf(const zn::Value& link) {
  if (!link.isString()) throw zn::Exception(zn::format("a link is a text, not %@", link));
  return NSURL::URLWithString(link.string());
}

using SourcePtr = std::shared_ptr<const ZNSource>;

SourcePtr ifValid(const SourcePtr& source) { return source->isValidSource() ? source : nullptr; }

SourcePtr linkSource(const zn::Value& link) {
  return link.length() > 0 ? ifValid(ZNSource::initSourceWithURL(link)) : nullptr;
}

/// The source that an action's link has itself, or else its key-value pairs; null where neither is valid.
SourcePtr sourceOf(const zn::CardAction& action) {
  switch (typeOf(action)) {
    case ActionType::landingPage:
    case ActionType::deepLink:
      if (action.value().length() == 0) return nullptr;
      if (const SourcePtr source = linkSource(action.value())) return source;
      [[fallthrough]];
    case ActionType::screen:
      return ifValid(ZNSource::initSourceWithSourceInfoDict(action.kvPairs()));
  }
  return nullptr;
}

}  // namespace

ZNMessagingDelegate::~ZNMessagingDelegate() = default;
void ZNMessagingDelegate::notificationClickedWithScreenName(const zn::Value&, const zn::Value&) {}
void ZNMessagingDelegate::notificationClickedWithScreenNameKVPairsAndPushPayload(const zn::Value&, const zn::Value&,
                                                                                 const zn::Value&) {}

void ZNNotificationHandler::handleDefaultActionsWithPayload(const zn::Value& payload) {
  zn::guarded("handleDefaultActionsWithPayload:", kActionsFailure, [&] {
    zn::log("Push - Default Actions");
    updateAppSourceForDefaultActionWithZinPushPayload(payload);
    if (!ownValue(payload, kNotificationPayloadKeyCouponCode).isNil()) {
      handleCouponCodeForPush(payload);  // the rest waits for the alert's buttons
    } else {
      if (!extraValue(payload, kNotificationPayloadKeyDeepLinkURL).isNil()) {
        handleDeepLinking(payload);
      } else if (!ownValue(payload, kNotificationPayloadKeyRichLandingURL).isNil()) {
        handleRichLandingPage(payload);
      }
      handleInAppFromPush(payload);
    }
    tellScreen(extraValue(payload, kNotificationPayloadKeyScreenName),
               extraValue(payload, kNotificationPayloadKeyScreenData), payload);
  });
}

bool ZNNotificationHandler::handleCardActionsWithCardID(const zn::Value& cardID,
                                                        const std::shared_ptr<ZNPushPayload>& payload) {
  return zn::guarded("handleCardActionsWithCardID:forPayload:", kActionsFailure, [&] {
    zn::log("Push - Card Actions");
    const auto richPush = payload ? payload->richPush() : nullptr;
    const auto mode = richPush ? richPush->expandedMode() : nullptr;
    if (!mode) return false;
    const std::int64_t wanted = cardID.longLongValue();
    for (const zn::RichCard& card : mode->cards()) {
      if (card.cardID() != wanted) continue;
      if (card.actions().empty()) return false;
      updateAppSourceForCardActionWithActionsArray(card.actions());
      for (const zn::CardAction& action : card.actions()) carryOut(action, payload->pushPayloadDict());
      return true;
    }
    return false;
  });
}

void ZNNotificationHandler::carryOut(const zn::CardAction& action, const zn::Value& payload) {
  if (action.actionName() != kCarriedOutHere) return;
  const zn::Value value = action.value();
  switch (typeOf(action)) {
    case ActionType::deepLink:
      if (value.length() > 0) ZNCoreUtils::openDeeplink(urlOf(value));
      break;
    case ActionType::landingPage:
      if (!value.isNil()) ZNCoreUtils::openRichLandingLink(urlOf(value));
      break;
    case ActionType::screen:
      zn::log("Push - Card Screen Navigation Actions with screen name(%@) and KV Pairs(%@)", value, action.kvPairs());
      tellScreen(value, action.kvPairs(), payload);
      break;
  }
}

void ZNNotificationHandler::invokeCallbackWithScreenName(const zn::Value& screenName, const zn::Value& kvPairs,
                                                         const zn::Value& payload) {
  zn::guarded("invokeCallbackWithScreenName:KVPairs:andPushPayload:", kActionsFailure,
              [&] { tellScreen(screenName, kvPairs, payload); });
}

void ZNNotificationHandler::tellScreen(const zn::Value& screenName, const zn::Value& kvPairs,
                                       const zn::Value& payload) {
  const auto delegate = zn::HostSettings::shared().messagingDelegate.all().lock();
  if (!delegate) return;
  delegate->notificationClickedWithScreenName(screenName, kvPairs);
  delegate->notificationClickedWithScreenNameKVPairsAndPushPayload(screenName, kvPairs, payload);
}

void ZNNotificationHandler::handleDeepLinking(const zn::Value& payload) {
  zn::guarded("handleDeepLinking:", "Exception while handling deeplinking : %@", [&] {
    if (disableDeepLinksProcessing()) return;
    const zn::Value link = extraValue(payload, kNotificationPayloadKeyDeepLinkURL);
    if (link.length() > 0) ZNCoreUtils::openDeeplink(urlOf(link));
  });
}

void ZNNotificationHandler::handleRichLandingPage(const zn::Value& payload) {
  zn::guarded("handleRichLandingPage:", "exception while handling rich landing page is %@", [&] {
    // Unlike a deep link, a landing page is the module's own business, so disableDeepLinksProcessing leaves it alone.
    const zn::Value link = ownValue(payload, kNotificationPayloadKeyRichLandingURL);
    if (!link.isNil()) ZNCoreUtils::openRichLandingLink(urlOf(link));
  });
}

void ZNNotificationHandler::handleInAppFromPush(const zn::Value& payload) {
  zn::guarded("handleInAppFromPush:", "exception for in app from push is %@", [&] {
    zn::Value userInfo = ownValue(payload, kNotificationPayloadKeyInApp);
    if (userInfo.isNil()) {
      const zn::Value campaign = ownValue(payload, kNotificationPayloadKeyInAppV2);
      if (campaign.length() > 0) userInfo = zn::Value::dictionary({{"cid", campaign}, {"isTest", 1}});
    }
    if (userInfo.isNil()) return;
    NSNotificationCenter::defaultCenter()->postNotificationName(kNotificationNameShowInApp, userInfo);
  });
}

void ZNNotificationHandler::handleCouponCodeForPush(const zn::Value& payload) {
  zn::guarded("handleCouponCodeForPush:", "exception coupon code from push is %@", [&] {
    const zn::Value code = ownValue(payload, kNotificationPayloadKeyCouponCode);
    if (!code.isNil()) showCouponAlertView(code, payload);
  });
}

void ZNNotificationHandler::showCouponAlertView(const zn::Value& couponCode, const zn::Value& payload) {
  zn::guarded("showCouponAlertView:andUserInfo:", kCouponAlertFailure, [&] {
    const auto owner = zn::OwnerToken::ofUser();
    zn::dispatchAsync(zn::Queue::main, [self = shared_from_this(), couponCode, payload, owner] {
      self->presentCouponAlert(couponCode, payload, owner);
    });
  });
}

void ZNNotificationHandler::presentCouponAlert(const zn::Value& couponCode, const zn::Value& payload,
                                               const zn::OwnerToken& owner) {
  zn::guarded("showCouponAlertView:andUserInfo:", kCouponAlertFailure, [&] {
    if (!UIAlertController::isAvailable()) {
      zn::Device::current().systemLog->diagnostic(zn::format("this device shows no alerts: coupon %@", couponCode));
      return;
    }
    if (!owner.holds()) return zn::log("Coupon not shown: the user was reset meanwhile");
    if (const auto top = ZNCoreUtils::getTopMostViewController()) {
      top->presentViewController(couponAlert(couponCode, payload), true, nullptr);
      return;
    }
    // A click that started the application may come before the host's window: the alert, and the links behind its
    // buttons, wait for one.
    zn::performAfterDelay(1.0, [self = shared_from_this(), couponCode, payload, owner] {
      self->presentCouponAlert(couponCode, payload, owner);
    });
  });
}

std::shared_ptr<UIAlertController> ZNNotificationHandler::couponAlert(const zn::Value& couponCode,
                                                                      const zn::Value& payload) {
  const auto alert = UIAlertController::alertControllerWithTitle(
      "Coupon", zn::format("Coupon code : %@ \n Copy coupon code?", couponCode), UIAlertController::Style::alert);
  const auto addButton = [&](const char* title, UIAlertAction::Handler handler) {
    alert->addAction(UIAlertAction::actionWithTitle(title, UIAlertAction::Style::defaultStyle, std::move(handler)));
  };
  addButton("COPY", [self = shared_from_this(), couponCode, payload](const UIAlertAction&) {
    UIPasteboard::generalPasteboard()->setString(zn::description(couponCode));
    self->followCoupon(payload);
  });
  // Not of the cancel style: nothing but the copying is cancelled.
  addButton("Cancel", [self = shared_from_this(), payload](const UIAlertAction&) { self->followCoupon(payload); });
  return alert;
}

/// Unlike the default actions, a coupon opens both the deep link and the landing page.
void ZNNotificationHandler::followCoupon(const zn::Value& payload) {
  handleDeepLinking(payload);
  handleRichLandingPage(payload);
  handleInAppFromPush(payload);
}

void ZNNotificationHandler::updateAppSourceWithNonZinPushPayload(const zn::Value& payload) {
  zn::guarded("updateAppSourceWithNonZinPushPayload:", kSourceFailure, [&] {
    if (payload.isNil()) return;
    if (const auto source = ifValid(ZNSource::initSourceWithPushPayload(payload))) {
      updateAnalyticsModuleWithSources({source});
    }
  });
}

void ZNNotificationHandler::updateAppSourceForDefaultActionWithZinPushPayload(const zn::Value& payload) {
  zn::guarded("updateAppSourceForDefaultActionWithZinPushPayload:", kSourceFailure, [&] {
    SourcePtr source = linkSource(extraValue(payload, kNotificationPayloadKeyDeepLinkURL));
    if (!source) source = linkSource(ownValue(payload, kNotificationPayloadKeyRichLandingURL));
    if (!source) source = ifValid(ZNSource::initZinSourceWithPushPayload(payload));
    if (source) updateAnalyticsModuleWithSources({source});
  });
}

void ZNNotificationHandler::updateAppSourceForCardActionWithActionsArray(const std::vector<zn::CardAction>& actions) {
  zn::guarded("updateAppSourceForCardActionWithActionsArray:", kSourceFailure, [&] {
    for (const ActionType type : {ActionType::deepLink, ActionType::landingPage, ActionType::screen}) {
      SourcePtr last;
      for (const zn::CardAction& action : actions) {
        if (action.actionName() != kCarriedOutHere || typeOf(action) != type) continue;
        if (const SourcePtr source = sourceOf(action)) last = source;
      }
      if (last) return updateAnalyticsModuleWithSources({last});
    }
  });
}

void ZNNotificationHandler::updateAnalyticsModuleWithSources(const std::vector<SourcePtr>& sources) {
  zn::guarded("updateAnalyticsModuleWithSources:", kSourceFailure, [&] {
    if (!sources.empty()) ZNAnalytics::sharedInstance()->updateSourcesForCurrentSession(sources);
  });
}
