#include "ZNMessaging/Constants/ZNMessagingConstants.h"

const char* const kEventNameNotificationReceived = "NOTIFICATION_RECEIVED_IOS_ZIN";
const char* const kEventNameNotificationClicked = "NOTIFICATION_CLICKED_IOS_ZIN";
const char* const kEventNameNotificationDismissed = "NOTIFICATION_DISMISSED_IOS_ZIN";
const char* const kEventNamePushPreferenceChanged = "ZN_PUSH_PREFERENCE_CHANGED";
const char* const kEventNameNotificationReceivedInForeground = "NOTIFICATION_RECEIVED_IOS_APP_ACTIVE";
const char* const kEventNameDTShownOffline = "NOTIFICATION_OFFLINE_ZIN";
const char* const kEventNameDTScheduled = "DT_CAMPAIGN_SCHEDULED";
const char* const kEventNameDTScheduleFailed = "DT_CAMPAIGN_SCHEDULE_FAILED";

const char* const kEventAttributeNameAction = "apns_action";
const char* const kEventAttributeNameActionIdentifier = "apns_action_identifier";
const char* const kEventAttributeNameAttachmentDownloadFailure = "zinAttachmentDownloadFailure";
const char* const kEventAttributeNamePushPrefStatus = "push_preference_status";
const char* const kUserAttributeNamePushPreference = "PUSH_PREFERENCE";

const char* const kUserDefaultsKeyPushPreference = "kZinPushPreferenceUserDefaultKey";
const char* const kUserDefaultsKeyNotificationCategory = "ZIN_NOTIFICATION_CATEGORIES";
const char* const kUserDefaultsKeyNotificationCategorySent = "ZIN_NOTIFICATION_CATEGORIES_SENT";

const char* const kNotificationPayloadKeyAppID = "app_id";
const char* const kNotificationPayloadKeyInboxExpiry = "inbox_expiry";
const char* const kNotificationPayloadKeyRichLandingURL = "webUrl";
const char* const kNotificationPayloadKeyDeepLinkURL = "zin_deeplink";
const char* const kNotificationPayloadKeyScreenName = "screenName";
const char* const kNotificationPayloadKeyCouponCode = "couponCode";
const char* const kNotificationPayloadKeyMediaAttachmentURL = "media-attachment";
const char* const kNotificationPayloadKeyMediaType = "media-type";
const char* const kNotificationPayloadKeyScreenData = "screenData";
const char* const kNotificationPayloadKeySilentPush = "silentPush";
const char* const kNotificationPayloadKeyAppExtra = "app_extra";
const char* const kNotificationPayloadKeyInApp = "zin_inapp";
const char* const kNotificationPayloadKeyInAppV2 = "zin_inapp_cid";

const char* const kNotificationActionIdentifierDismiss = "ZIN_DISMISS_ACTION";

const double ZNMessagingVersionNumber = 1.0;
const unsigned char ZNMessagingVersionString[] = "@(#)PROGRAM:ZNMessaging  PROJECT:Zintar-1\n";
