#pragma once

#include "ZNPlatform/Export.h"
#include "ZintarCore/ZNPayloadKeys.h"

/// The module's vocabulary: its keys, event names and storage keys are spelled here, those of the inbox in
/// ZNInboxExposedConstants.h, those that other modules know too in ZNPayloadKeys.h. Values are case-sensitive and fixed:
/// servers and hosts know them.

// Names of tracked events. The push-preference event alone has another head and no platform word; keep it so.
ZN_EXPORT extern const char* const kEventNameNotificationReceived;
ZN_EXPORT extern const char* const kEventNameNotificationClicked;
ZN_EXPORT extern const char* const kEventNameNotificationDismissed;
ZN_EXPORT extern const char* const kEventNamePushPreferenceChanged;
ZN_EXPORT extern const char* const kEventNameNotificationReceivedInForeground;
ZN_EXPORT extern const char* const kEventNameDTShownOffline;
ZN_EXPORT extern const char* const kEventNameDTScheduled;
ZN_EXPORT extern const char* const kEventNameDTScheduleFailed;

// Names of event attributes and user attributes.
ZN_EXPORT extern const char* const kEventAttributeNameAction;
ZN_EXPORT extern const char* const kEventAttributeNameActionIdentifier;
ZN_EXPORT extern const char* const kEventAttributeNameAttachmentDownloadFailure;
ZN_EXPORT extern const char* const kEventAttributeNamePushPrefStatus;
ZN_EXPORT extern const char* const kUserAttributeNamePushPreference;

// Keys in the library's own user-defaults store.
ZN_EXPORT extern const char* const kUserDefaultsKeyPushPreference;
ZN_EXPORT extern const char* const kUserDefaultsKeyNotificationCategory;
ZN_EXPORT extern const char* const kUserDefaultsKeyNotificationCategorySent;

// Keys of a push payload, besides those in ZNPayloadKeys.h: at its top level …
ZN_EXPORT extern const char* const kNotificationPayloadKeyAppExtra;
// … inside "zintar" …
ZN_EXPORT extern const char* const kNotificationPayloadKeyAppID;
ZN_EXPORT extern const char* const kNotificationPayloadKeyInboxExpiry;
ZN_EXPORT extern const char* const kNotificationPayloadKeyRichLandingURL;
ZN_EXPORT extern const char* const kNotificationPayloadKeyCouponCode;
ZN_EXPORT extern const char* const kNotificationPayloadKeyMediaAttachmentURL;
ZN_EXPORT extern const char* const kNotificationPayloadKeyMediaType;
ZN_EXPORT extern const char* const kNotificationPayloadKeySilentPush;
ZN_EXPORT extern const char* const kNotificationPayloadKeyInApp;
ZN_EXPORT extern const char* const kNotificationPayloadKeyInAppV2;
// … and inside "app_extra".
ZN_EXPORT extern const char* const kNotificationPayloadKeyDeepLinkURL;
ZN_EXPORT extern const char* const kNotificationPayloadKeyScreenName;
ZN_EXPORT extern const char* const kNotificationPayloadKeyScreenData;

/// Action identifier of the module's own dismiss button.
ZN_EXPORT extern const char* const kNotificationActionIdentifierDismiss;

/// 1.0
ZN_EXPORT extern const double ZNMessagingVersionNumber;
/// What the `what` tool looks for in a binary, with its closing line feed.
ZN_EXPORT extern const unsigned char ZNMessagingVersionString[];

namespace zn {

/// Event of a rich template that was shown; not among the exported names, which hosts know.
inline constexpr const char* kEventNameNotificationShown = "ZIN_NOTIFICATION_SHOWN";

}  // namespace zn

namespace zn::payload {

// Keys that only the module reads.
inline constexpr const char* aps = "aps";
inline constexpr const char* alert = "alert";
inline constexpr const char* title = "title";
inline constexpr const char* subtitle = "subtitle";
inline constexpr const char* body = "body";
inline constexpr const char* sound = "sound";
inline constexpr const char* category = "category";
inline constexpr const char* features = "zinFeatures";
inline constexpr const char* richPush = "richPush";
inline constexpr const char* displayName = "displayName";
inline constexpr const char* templateName = "template_name";
inline constexpr const char* receivedEpoch = "received_epoch_val";
inline constexpr const char* clickedEpoch = "clicked_epoch_val";

// The card click that the rich-template extension leaves in the app group's user defaults.
inline constexpr const char* templateClickInfo = "zin_push_template_click_info";
inline constexpr const char* clickInfoCampaignID = "campaign_id";
inline constexpr const char* clickInfoCardID = "card_id";

// The pushes that the notification service extension received: a list in the app group's user defaults, in the
// dictionary of the application's id, or, as older extensions have it, at the top level.
inline constexpr const char* pendingNotifications = "zin_pending_notifications";

}  // namespace zn::payload
