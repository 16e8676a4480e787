#include "ZintarCore/ZNPayloadKeys.h"

const char* const kNotificationPayloadKeyZintar = "zintar";
const char* const kNotificationPayloadKeyCampaignID = "cid";
const char* const kNotificationPayloadKeyPathCampaignID = "zintar.cid";
