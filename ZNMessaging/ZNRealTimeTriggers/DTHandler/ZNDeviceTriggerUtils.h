#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "ZNAnalytics/ZNProperties.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerCampaign.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

/// Helpers of device triggers. Thread: any. No operation throws: a failure is logged and gives the neutral result.
class ZN_EXPORT ZNDeviceTriggerUtils {
 public:
  /// `DNDTimeStringFromNumber:`: hhmm as a number to "H:m" without padding (905 is "9:5"); "NA" for nil, "" for what is
  /// no number.
  static std::string DNDTimeStringFromNumber(const zn::Value& number);
  static std::int64_t hourFromDNDString(const zn::Value& text);    ///< `hourFromDNDString:`; -1 without two parts
  static std::int64_t minuteFromDNDString(const zn::Value& text);  ///< `minuteFromDNDString:`; likewise

  // Events about a campaign's notification, all non-interactive. The first three carry "scheduledDate", when it is to
  // appear, and are sent at once.

  /// `trackNotificationScheduledFailedForCampaign:withPayload:`
  static void trackNotificationScheduledFailedForCampaign(const ZNDeviceTriggerCampaign& campaign,
                                                          const ZNDeviceTriggerPayload& payload);
  /// `trackNotificationScheduledForCampaign:withPayload:`
  static void trackNotificationScheduledForCampaign(const ZNDeviceTriggerCampaign& campaign,
                                                    const ZNDeviceTriggerPayload& payload);
  /// `trackNotificationOfflineForCampaign:withPayload:`
  static void trackNotificationOfflineForCampaign(const ZNDeviceTriggerCampaign& campaign,
                                                  const ZNDeviceTriggerPayload& payload);
  /// `trackNotificationReceivedForCampaign:withPayload:`
  static void trackNotificationReceivedForCampaign(const ZNDeviceTriggerCampaign& campaign,
                                                   const ZNDeviceTriggerPayload& payload);
  /// `trackNotificationShownForCampaign:withPayload:`: for rich templates that show themselves only.
  static void trackNotificationShownForCampaign(const ZNDeviceTriggerCampaign& campaign,
                                                const ZNDeviceTriggerPayload& payload);
  /// `getPropertiesForTrackingEventsForCampaign:withPayload:`; null after a failure.
  static std::shared_ptr<ZNProperties> getPropertiesForTrackingEventsForCampaign(
      const ZNDeviceTriggerCampaign& campaign, const ZNDeviceTriggerPayload& payload);
};
