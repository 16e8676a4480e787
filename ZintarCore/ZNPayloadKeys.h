#pragma once

#include "ZNPlatform/Export.h"

// Keys of a push payload by which all modules know a push of the library's own. ZNMessagingConstants.h has the others.

ZN_EXPORT extern const char* const kNotificationPayloadKeyZintar;
ZN_EXPORT extern const char* const kNotificationPayloadKeyCampaignID;      ///< inside "zintar"
ZN_EXPORT extern const char* const kNotificationPayloadKeyPathCampaignID;  ///< the two as a key path
