#include <gtest/gtest.h>

#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/NotificationHandler/ZNNotificationHandler.h"
#include "ZNMessaging/Utils/ZNMessagingUtils.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Json.h"

namespace {

using zn::Value;
using zn::test::TestDevice;

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

UNNotificationResponse response(const Value& payload, const char* action) {
  UNNotificationResponse made;
  made.notification.request.content.userInfo = payload;
  made.actionIdentifier = action;
  return made;
}

TEST(PayloadTypes, AnyTypeInAnyPlaceIsHandledAndAReadableInboxComesOut) {
  TestDevice device;
  Value payload = zn::test::realisticPayload("c1");
  for (const char* key : {"received_epoch_val", "clicked_epoch_val", "inbox_expiry", "isRead", "couponCode",
                          "zin_inapp", "zin_inapp_cid", "silentPush"}) {
    payload.setObjectNilHandled(replaced(payload["zintar"], std::vector<std::string>{key}, 1600000000), "zintar");
  }
  Value zintar = payload["zintar"];
  zintar.removeValidObjectForKey("silentPush");
  payload.setObjectNilHandled(zintar, "zintar");

  Value list = *zn::parseJson(
      R"([null, true, 0, -7, 1e300, "", "text", "0012.5e3", [], [1, "x", null], {}, {"cid": [], "data": "x"}])");
  list.append(zn::Date{1e12});
  list.append(Value::data({1, 2}));
  std::vector<Value> types(list.elements().begin(), list.elements().end());
  types.push_back(zn::nil);
  std::vector<std::vector<std::string>> paths;
  std::vector<std::string> path;
  collectPaths(payload, path, paths);
  paths.push_back({"data"});  // makes it look like a legacy entry

  const auto facade = ZNMessaging::sharedInstance();
  const auto handler = ZNNotificationHandler::sharedInstance();
  const auto store = ZNInboxHandler::sharedInstance();
  const auto center = UNUserNotificationCenter::currentNotificationCenter();
  int tried = 0;
  for (const auto& place : paths) {
    for (const Value& type : types) {
      const Value broken = replaced(payload, place, type);
      facade->didReceieveNotificationinApplication(UIApplication::sharedApplication(), broken);
      for (const char* action : {UNNotificationDefaultActionIdentifier, UNNotificationDismissActionIdentifier, "B"}) {
        facade->didReceiveNotificationResponse(center, response(broken, action));
      }
      handler->handlePushNotificationForeground(broken);
      handler->isPushFromZintarWithPayload(broken);
      store->trackInboxNotificationClickForCampaignID(broken.validObjectForKeyPath("zintar.cid"));
      const auto entry = ZNInboxModel::initWithLegacyInboxPlistPayload(Value::dictionary({{"data", broken}}));
      entry->updateClickedDate();
      entry->getLegacyInboxPayload();
      ++tried;
    }
    store->removeExpiredInboxMessages();
  }
  EXPECT_GT(tried, 300);
  const auto relaunched = std::make_shared<ZNInboxHandler>();
  ASSERT_TRUE(relaunched->updateInboxStorage());
  const auto again = std::make_shared<ZNInboxHandler>();
  ASSERT_GT(relaunched->getAllNotificationCount(), 0u);
  ASSERT_EQ(again->getAllNotificationCount(), relaunched->getAllNotificationCount());
  EXPECT_EQ(again->getAllNotificationPayloads(), relaunched->getAllNotificationPayloads());
  EXPECT_FALSE(zn::fileExistsAtPath(device.inboxFile() + ".unreadable"));
}

TEST(PayloadTypes, StatsAttributesKeepAllButTheContents) {
  const Value payload = Value::dictionary(
      {{"zintar", Value::dictionary({{"cid", "c"},
                                     {"app_id", "a"},
                                     {"silentPush", true},
                                     {"media-attachment", "m"},
                                     {"media-type", "i"},
                                     {"screenData", Value::dictionary()},
                                     {"inbox_expiry", 5},
                                     {"webUrl", "w"},
                                     {"couponCode", "10OFF"},
                                     {"zin_inapp_cid", "x"},
                                     {"zin_inapp", Value::dictionary()}})},
       {"zinFeatures", Value::dictionary({{"richPush", Value::dictionary({{"displayName", "carousel"}})}})}});
  EXPECT_EQ(ZNMessagingUtils::statsEventAttributesFromPayload(payload),
            Value::dictionary({{"cid", "c"}, {"app_id", "a"}, {"silentPush", true}, {"template_name", "carousel"}}));
  const Value none = ZNMessagingUtils::statsEventAttributesFromPayload(zn::nil);
  EXPECT_TRUE(none.isDictionary() && none.isEmpty());
}

}  // namespace
