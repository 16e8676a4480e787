#pragma once

#include <utility>

#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxModel.h"

namespace zn::test {

/// What an entry of the inbox holds, but for `isRead`: payload, texts and links first, then what is read at once.
inline constexpr std::pair<Value (ZNInboxModel::*)() const, void (ZNInboxModel::*)(const Value&)> kEntryProperties[] = {
    {&ZNInboxModel::notificationPayloadDict, &ZNInboxModel::setNotificationPayloadDict},
    {&ZNInboxModel::screenDataDict, &ZNInboxModel::setScreenDataDict},
    {&ZNInboxModel::zintarDict, &ZNInboxModel::setZintarDict},
    {&ZNInboxModel::notificationTitle, &ZNInboxModel::setNotificationTitle},
    {&ZNInboxModel::notificationSubTitle, &ZNInboxModel::setNotificationSubTitle},
    {&ZNInboxModel::notificationBody, &ZNInboxModel::setNotificationBody},
    {&ZNInboxModel::notificationSound, &ZNInboxModel::setNotificationSound},
    {&ZNInboxModel::notificationMediaURL, &ZNInboxModel::setNotificationMediaURL},
    {&ZNInboxModel::screenName, &ZNInboxModel::setScreenName},
    {&ZNInboxModel::deepLinkURL, &ZNInboxModel::setDeepLinkURL},
    {&ZNInboxModel::richLandingURL, &ZNInboxModel::setRichLandingURL},
    {&ZNInboxModel::campaignID, &ZNInboxModel::setCampaignID},
    {&ZNInboxModel::receivedDate, &ZNInboxModel::setReceivedDate},
    {&ZNInboxModel::clickedDate, &ZNInboxModel::setClickedDate},
    {&ZNInboxModel::inboxExpiryDate, &ZNInboxModel::setInboxExpiryDate}};

}  // namespace zn::test
