#pragma once

#include "Tests/Support/TestDevice.h"
#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxData.h"
#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxModel.h"

namespace zn::test {

/// An inbox with entries of every kind, the same whenever and by whatever version it is made.
inline std::shared_ptr<ZNInboxData> everyKindOfEntry() {
  const Date taken{1700000000};
  const auto pushed = [&](const char* payload) {
    return ZNInboxModel::initWithNotificationPayload(json(payload), taken);
  };
  const auto unread = pushed(R"({"aps": {"alert": {"title": "Grüße \ud83d\ude00", "subtitle": "京都",
      "body": "A body that is longer than fifteen characters"}, "sound": "chime.caf"},
      "zintar": {"cid": "unread", "received_epoch_val": 1600000000.5, "media-attachment": "https://cdn.example/a.jpg",
      "webUrl": "https://shop.example/é"}, "app_extra": {"zin_deeplink": "shop://orders/7", "screenName": "Orders",
      "screenData": {"tab": ["a", {"b": null}], "empty": {}, "none": []}}})");
  const auto read = pushed(R"({"aps": {"alert": "Short"}, "zintar": {"cid": "read"}, "list": [1, [2, [3, "Short"]]]})");
  read->updateClickedDate(Date{1700000100.25});
  const auto bare = std::make_shared<ZNInboxModel>();
  bare->setCampaignID("bare");
  bare->setReceivedDate(Date{-978307200});
  bare->setNotificationTitle(Value::null());
  const auto numbers = std::make_shared<ZNInboxModel>();
  numbers->setCampaignID(17);
  numbers->setNotificationPayloadDict(Value::dictionary(
      {{"integers", Value::array({0, 1, 255, 256, 65535, 65536, 4294967295, 4294967296, -1, INT64_MAX, INT64_MIN})},
       {"reals", Value::array({0.5, -1e300, 1.0})},
       {"flags", Value::array({true, false, Value::null()})},
       {"dates", Value::array({Date{0}, Date{1700000000.125}})},
       {"data", Value::array({Value::data({}), Value::data({0, 1, 255})})},
       {"$null", ""}}));
  numbers->setScreenDataDict(numbers->notificationPayloadDict()["data"]);
  const auto empty = std::make_shared<ZNInboxModel>();
  empty->setIsRead(true);
  auto data = std::make_shared<ZNInboxData>();
  data->setInboxMessages(std::make_shared<const InboxList>(InboxList{unread, read, bare, numbers, empty}));
  data->setLastUpdatedFromServerSync(Date{1700000200});
  return data;
}

}  // namespace zn::test
