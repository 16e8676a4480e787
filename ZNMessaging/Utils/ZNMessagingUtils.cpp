#include "ZNMessaging/Utils/ZNMessagingUtils.h"

#include <atomic>

#include "ZNMessaging/Constants/ZNMessagingConstants.h"

namespace {
std::atomic<bool> proxyConfigured{false};
}  // namespace

zn::Value ZNMessagingUtils::statsEventAttributesFromPayload(const zn::Value& payload) {
  zn::Value attributes = payload.validObjectForKey(kNotificationPayloadKeyZintar).mutableDictionaryCopy();
  for (const char* key :
       {kNotificationPayloadKeyMediaAttachmentURL, kNotificationPayloadKeyMediaType, kNotificationPayloadKeyScreenData,
        kNotificationPayloadKeyInboxExpiry, kNotificationPayloadKeyRichLandingURL, kNotificationPayloadKeyCouponCode,
        kNotificationPayloadKeyInAppV2, kNotificationPayloadKeyInApp}) {
    attributes.removeValidObjectForKey(key);
  }
  attributes.setObjectNilHandled(payload.validObjectForKey(zn::payload::features)
                                     .validObjectForKey(zn::payload::richPush)
                                     .validObjectForKey(zn::payload::displayName),
                                 zn::payload::templateName);
  return attributes;
}

bool ZNMessagingUtils::isAppDelegateProxyConfigured() { return proxyConfigured.load(); }
void ZNMessagingUtils::appDelegateProxyConfigured() { proxyConfigured.store(true); }
