#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggerUtils.h"

#include <algorithm>

#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/Utils/ZNMessagingUtils.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNRichNotification/ZNRichPush.h"
#include "ZintarCore/ExceptionGuard.h"

namespace {

constexpr const char* kTrackingFailure = "exception while tracking a device trigger : %@";

/// One of the two parts of "H:m".
std::int64_t partOf(const zn::Value& text, bool first) {
  const std::string_view whole = text.string();
  const auto colon = whole.find(':');
  if (colon == std::string_view::npos || whole.find(':', colon + 1) != std::string_view::npos) return -1;
  return zn::Value(first ? whole.substr(0, colon) : whole.substr(colon + 1)).longLongValue();
}

std::shared_ptr<ZNProperties> statsProperties(const ZNDeviceTriggerPayload& payload) {
  const auto properties =
      ZNProperties::initWithAttributes(ZNMessagingUtils::statsEventAttributesFromPayload(payload.pushDict()));
  properties->setNonInteractive();
  return properties;
}

std::shared_ptr<ZNProperties> scheduledProperties(const ZNDeviceTriggerCampaign& campaign,
                                                  const ZNDeviceTriggerPayload& payload) {
  const auto properties = statsProperties(payload);
  // At least a second ahead: also a notification that is posted at once takes its time to appear.
  const std::int64_t seconds = std::max<std::int64_t>(campaign.triggerDelay().longLongValue() / 1000, 1);
  properties->addDateAttribute(zn::Date{zn::secondsSince1970() + static_cast<double>(seconds)}, "scheduledDate");
  return properties;
}

void trackAndFlush(const char* selector, const char* event, const ZNDeviceTriggerCampaign& campaign,
                   const ZNDeviceTriggerPayload& payload) {
  zn::guarded(selector, kTrackingFailure, [&] {
    ZNAnalytics::sharedInstance()->trackEvent(event, scheduledProperties(campaign, payload));
    ZNAnalytics::sharedInstance()->flushWithCompletionBlock(nullptr);
  });
}

}  // namespace

std::string ZNDeviceTriggerUtils::DNDTimeStringFromNumber(const zn::Value& number) {
  return zn::guarded("DNDTimeStringFromNumber:", "exception while reading a do not disturb time : %@",
                     [&]() -> std::string {
                       if (number.isNil()) return "NA";
                       const std::int64_t hoursAndMinutes = number.longLongValue();
                       return zn::format("%ld:%ld", hoursAndMinutes / 100, hoursAndMinutes % 100);
                     });
}

std::int64_t ZNDeviceTriggerUtils::hourFromDNDString(const zn::Value& text) { return partOf(text, true); }
std::int64_t ZNDeviceTriggerUtils::minuteFromDNDString(const zn::Value& text) { return partOf(text, false); }

std::shared_ptr<ZNProperties> ZNDeviceTriggerUtils::getPropertiesForTrackingEventsForCampaign(
    const ZNDeviceTriggerCampaign& campaign, const ZNDeviceTriggerPayload& payload) {
  return zn::guarded("getPropertiesForTrackingEventsForCampaign:withPayload:", kTrackingFailure,
                     [&] { return scheduledProperties(campaign, payload); });
}

void ZNDeviceTriggerUtils::trackNotificationScheduledFailedForCampaign(const ZNDeviceTriggerCampaign& campaign,
                                                                       const ZNDeviceTriggerPayload& payload) {
  trackAndFlush("trackNotificationScheduledFailedForCampaign:withPayload:", kEventNameDTScheduleFailed, campaign,
                payload);
}

void ZNDeviceTriggerUtils::trackNotificationScheduledForCampaign(const ZNDeviceTriggerCampaign& campaign,
                                                                 const ZNDeviceTriggerPayload& payload) {
  trackAndFlush("trackNotificationScheduledForCampaign:withPayload:", kEventNameDTScheduled, campaign, payload);
}

void ZNDeviceTriggerUtils::trackNotificationOfflineForCampaign(const ZNDeviceTriggerCampaign& campaign,
                                                               const ZNDeviceTriggerPayload& payload) {
  trackAndFlush("trackNotificationOfflineForCampaign:withPayload:", kEventNameDTShownOffline, campaign, payload);
}

void ZNDeviceTriggerUtils::trackNotificationReceivedForCampaign(const ZNDeviceTriggerCampaign&,
                                                                const ZNDeviceTriggerPayload& payload) {
  zn::guarded("trackNotificationReceivedForCampaign:withPayload:", kTrackingFailure, [&] {
    ZNAnalytics::sharedInstance()->trackEvent(kEventNameNotificationReceived, statsProperties(payload));
  });
}

void ZNDeviceTriggerUtils::trackNotificationShownForCampaign(const ZNDeviceTriggerCampaign&,
                                                             const ZNDeviceTriggerPayload& payload) {
  // Template 2 tells of its showing itself.
  constexpr std::int64_t kSelfReporting = 2;
  zn::guarded("trackNotificationShownForCampaign:withPayload:", kTrackingFailure, [&] {
    const auto richPush = ZNRichPush::initWithDictionary(
        payload.pushDict().validObjectForKey(zn::payload::features).validObjectForKey(zn::payload::richPush));
    if (!richPush || !richPush->expandedMode() || richPush->expandedMode()->templateType() == kSelfReporting) return;
    ZNAnalytics::sharedInstance()->trackEvent(zn::kEventNameNotificationShown, statsProperties(payload));
  });
}
