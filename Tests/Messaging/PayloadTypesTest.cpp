#include <gtest/gtest.h>

#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/Utils/ZNMessagingUtils.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNPlatform/Foundation/File.h"

namespace {

using zn::Value;

/// `root` with the value at `path` replaced.
Value replaced(const Value& root, std::span<const std::string> path, const Value& replacement) {
  if (path.empty()) return replacement;
  Value copy = root;
  copy.setObjectNilHandled(replaced(root[path[0]], path.subspan(1), replacement), path[0]);
  return copy;
}

void collectPaths(const Value& value, std::vector<std::string>& path, std::vector<std::vector<std::string>>& out) {
  out.push_back(path);
  for (const auto& entry : value.entries()) {
    path.emplace_back(entry.name());
    collectPaths(entry.value, path, out);
    path.pop_back();
  }
}

TEST(PayloadTypes, AnyTypeInAnyPlaceIsHandledAndAReadableInboxComesOut) {
  zn::test::TestDevice device;
  Value payload = zn::test::realisticPayload("c1");
  for (const char* key : {"received_epoch_val", "clicked_epoch_val", "inbox_expiry", "isRead", "couponCode",
                          "zin_inapp", "zin_inapp_cid"}) {
    payload = replaced(payload, std::vector<std::string>{"zintar", key}, 1600000000);
  }
  const Value list = zn::test::json(
      R"([null, true, 0, -7, 1e300, "", "text", "0012.5e3", [], [1, "x", null], {}, {"cid": [], "data": "x"}])");
  std::vector<Value> types(list.elements().begin(), list.elements().end());
  types.insert(types.end(), {zn::Date{1e12}, Value::data({1, 2}), zn::nil});
  std::vector<std::vector<std::string>> paths;
  std::vector<std::string> path;
  collectPaths(payload, path, paths);
  paths.push_back({"data"});  // makes it look like a legacy entry
  ASSERT_GT(paths.size(), 20u);

  const auto facade = ZNMessaging::sharedInstance();
  const auto handler = ZNNotificationHandler::sharedInstance();
  const auto store = ZNInboxHandler::sharedInstance();
  for (const auto& place : paths) {
    for (const Value& type : types) {
      const Value broken = replaced(payload, place, type);
      facade->didReceieveNotificationinApplication(UIApplication::sharedApplication(), broken);
      UNNotificationResponse response;
      response.notification.request.content.userInfo = broken;
      for (const char* action : {UNNotificationDefaultActionIdentifier, UNNotificationDismissActionIdentifier, "B"}) {
        response.actionIdentifier = action;
        facade->didReceiveNotificationResponse(UNUserNotificationCenter::currentNotificationCenter(), response);
      }
      handler->handlePushNotificationForeground(broken);
      handler->isPushFromZintarWithPayload(broken);
      store->trackInboxNotificationClickForCampaignID(broken.validObjectForKeyPath("zintar.cid"));
      const auto entry = ZNInboxModel::initWithLegacyInboxPlistPayload(Value::dictionary({{"data", broken}}));
      entry->updateClickedDate();
      entry->getLegacyInboxPayload();
    }
    store->removeExpiredInboxMessages();
  }
  const auto relaunched = std::make_shared<ZNInboxHandler>();
  ASSERT_TRUE(relaunched->updateInboxStorage());
  ASSERT_GT(relaunched->getAllNotificationCount(), 0u);
  EXPECT_EQ(std::make_shared<ZNInboxHandler>()->getAllNotificationPayloads(), relaunched->getAllNotificationPayloads());
  EXPECT_FALSE(zn::fileExistsAtPath(device.inboxFile() + ".unreadable"));
}

TEST(PayloadTypes, StatsAttributesKeepAllButTheContents) {
  EXPECT_EQ(ZNMessagingUtils::statsEventAttributesFromPayload(zn::test::json(R"({
                "zintar": {"cid": "c", "app_id": "a", "silentPush": true, "media-attachment": "m", "media-type": "i",
                           "screenData": {}, "inbox_expiry": 5, "webUrl": "w", "couponCode": "10OFF",
                           "zin_inapp_cid": "x", "zin_inapp": {}},
                "zinFeatures": {"richPush": {"displayName": "carousel"}}})")),
            zn::test::json(R"({"cid": "c", "app_id": "a", "silentPush": true, "template_name": "carousel"})"));
  EXPECT_EQ(ZNMessagingUtils::statsEventAttributesFromPayload(zn::nil), Value::dictionary());
}

}  // namespace
