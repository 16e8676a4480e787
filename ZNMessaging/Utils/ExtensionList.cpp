#include "ZNMessaging/Utils/ExtensionList_p.h"

#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNPlatform/Foundation/Dispatch.h"

namespace zn {

namespace {
Value stamped(const Value& payload) {
  Value zintar = payload.validObjectForKey(kNotificationPayloadKeyZintar).mutableCopy();
  if (zintar.validObjectForKey(zn::payload::receivedEpoch).isNil()) {
    zintar.setObjectNilHandled(secondsSince1970(), zn::payload::receivedEpoch);
  }
  Value copy = payload.mutableCopy();
  copy.setObjectNilHandled(zintar, kNotificationPayloadKeyZintar);
  return copy;
}
}  // namespace

bool isVisiblePushOfCampaign(const Value& zintar) {
  if (!zintar.validObjectForKey(kNotificationPayloadKeySilentPush).isNil()) return false;
  return !zintar.validObjectForKey(kNotificationPayloadKeyCampaignID).isNil();
}

bool appendToExtensionList(NSUserDefaults& store, const std::string& applicationID, const Value& payload,
                           std::string& error, std::optional<std::chrono::milliseconds> patience) {
  if (!isVisiblePushOfCampaign(payload.validObjectForKey(kNotificationPayloadKeyZintar))) return true;
  return store.tryAppend(stamped(payload), {applicationID, zn::payload::pendingNotifications}, error, patience);
}

}  // namespace zn
