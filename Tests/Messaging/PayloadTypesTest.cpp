#include <gtest/gtest.h>

#include "Tests/Support/AnyTypeAnywhere.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNPlatform/Foundation/File.h"

namespace {

using zn::Value;

TEST(PayloadTypes, AnyTypeInAnyPlaceIsHandledAndAReadableInboxComesOut) {
  zn::test::TestDevice device;
  Value payload = zn::test::realisticPayload("c1");
  Value zintar = payload["zintar"];
  for (const char* key : {"received_epoch_val", "clicked_epoch_val", "inbox_expiry", "isRead", "couponCode",
                          "zin_inapp", "zin_inapp_cid"}) {
    zintar.setObjectNilHandled(1600000000, key);
  }
  payload.setObjectNilHandled(zintar, "zintar");
  payload.setObjectNilHandled(Value::null(), "data");  // what stands there makes it look like a legacy entry
  const auto facade = ZNMessaging::sharedInstance();
  const auto handler = ZNNotificationHandler::sharedInstance();
  const auto store = ZNInboxHandler::sharedInstance();
  zn::test::forAnyTypeAnywhere(payload, [&](const Value& odd) {
    facade->didReceieveNotificationinApplication(UIApplication::sharedApplication(), odd);
    UNNotificationResponse response;
    response.notification.request.content.userInfo = odd;
    for (const char* action : {UNNotificationDefaultActionIdentifier, UNNotificationDismissActionIdentifier, "B"}) {
      response.actionIdentifier = action;
      facade->didReceiveNotificationResponse(UNUserNotificationCenter::currentNotificationCenter(), response);
    }
    handler->handlePushNotificationForeground(odd);
    handler->isPushFromZintarWithPayload(odd);
    store->trackInboxNotificationClickForCampaignID(odd.validObjectForKeyPath("zintar.cid"));
    const auto entry = ZNInboxModel::initWithLegacyInboxPlistPayload(Value::dictionary({{"data", odd}}));
    entry->updateClickedDate();
    entry->getLegacyInboxPayload();
  });
  device.device().runPending();  // coupons among it, though there is no screen
  store->removeExpiredInboxMessages();
  const auto relaunched = std::make_shared<ZNInboxHandler>();
  ASSERT_TRUE(relaunched->updateInboxStorage());
  ASSERT_GT(relaunched->getAllNotificationCount(), 0u);
  EXPECT_EQ(std::make_shared<ZNInboxHandler>()->getAllNotificationPayloads(), relaunched->getAllNotificationPayloads());
  EXPECT_FALSE(zn::fileExistsAtPath(device.inboxFile() + ".unreadable"));
}

}  // namespace
