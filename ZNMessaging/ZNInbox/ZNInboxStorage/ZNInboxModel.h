#pragma once

#include <memory>

#include "ZNMessaging/Utils/GuardedFields.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZNPlatform/Foundation/Value.h"

/// One notification in the inbox: the push payload as received, the fields that the inbox screen shows, read state and
/// dates. Made from a payload or an archive; fields hold whatever the payload has there, unchecked, and nil where it
/// has nothing.
///
/// Ownership: std::shared_ptr; the store and those who asked it share entries, so an entry may change after it was
/// handed out (a click marks it read). Values read from it are snapshots. Thread: any; every property is guarded.
class ZN_EXPORT ZNInboxModel : public zn::Coding {
 public:
  /// `initWithNotificationPayload:`: from a push payload, or from a legacy inbox entry (recognised by its "data" key).
  /// nil gives an entry with nothing set; after a failure, which is logged, what was filled in so far stays.
  static std::shared_ptr<ZNInboxModel> initWithNotificationPayload(const zn::Value& payload);
  /// The same for one that was taken in at that time, which counts as its receipt where it does not name its own.
  static std::shared_ptr<ZNInboxModel> initWithNotificationPayload(const zn::Value& payload, zn::Date taken);
  /// `initWithLegacyInboxPlistPayload:`: from a legacy inbox entry, as older versions and the server deliver them:
  /// {"data": payload, "c_cr_t": seconds since 1970 as number or string, "isRead": boolean}. Without "data" the entry
  /// has nothing set.
  static std::shared_ptr<ZNInboxModel> initWithLegacyInboxPlistPayload(const zn::Value& entry);
  static std::shared_ptr<ZNInboxModel> initWithLegacyInboxPlistPayload(const zn::Value& entry, zn::Date taken);
  /// `initWithCoder:`
  static std::shared_ptr<ZNInboxModel> initWithCoder(zn::NSKeyedUnarchiver& coder);

  /// `getLegacyInboxPayload`: the legacy inbox entry for this entry.
  zn::Value getLegacyInboxPayload() const;

  /// `updateClickedDate`: read, and clicked now; also in the stored payload, except for an entry from an archive that
  /// has no `zintarDict`.
  void updateClickedDate();
  void updateClickedDate(zn::Date clicked);  ///< for a click of that time
  /// The same for an unread entry only, as one step; false when it was read already.
  bool markClickedIfUnread();

  /// `setNotificationContentProperties:andZinDict:`: title, subtitle, body, sound and media address.
  void setNotificationContentProperties(const zn::Value& aps, const zn::Value& zinDict);
  /// `setNotificationDeepLinkingPropertiesWithPayload:`: deep link, landing page and screen.
  void setNotificationDeepLinkingPropertiesWithPayload(const zn::Value& payload);

  zn::Value campaignID() const {
    return fields_.get(&Fields::campaignID);
  }  ///< what makes an entry the one of its campaign
  void setCampaignID(const zn::Value& campaignID);
  /// The campaign id with its hash, for looking entries up: equal for entries of one campaign, also where both have no
  /// id.
  struct CampaignKey {
    zn::Value id;
    std::size_t hash = zn::nil.hash();
    friend bool operator==(const CampaignKey& a, const CampaignKey& b) { return a.hash == b.hash && a.id == b.id; }
  };
  CampaignKey campaignKey() const;
  bool isOfSameCampaign(const ZNInboxModel& other) const { return campaignKey() == other.campaignKey(); }

  // Setters change the property alone, not what the stored payload says.

  zn::Value notificationPayloadDict() const { return fields_.get(&Fields::notificationPayloadDict); }
  void setNotificationPayloadDict(const zn::Value& value) { fields_.set(&Fields::notificationPayloadDict, value); }
  zn::Value screenDataDict() const { return fields_.get(&Fields::screenDataDict); }
  void setScreenDataDict(const zn::Value& value) { fields_.set(&Fields::screenDataDict, value); }
  zn::Value zintarDict() const { return fields_.get(&Fields::zintarDict); }
  void setZintarDict(const zn::Value& value) { fields_.set(&Fields::zintarDict, value); }
  zn::Value notificationTitle() const { return fields_.get(&Fields::notificationTitle); }
  void setNotificationTitle(const zn::Value& value) { fields_.set(&Fields::notificationTitle, value); }
  zn::Value notificationSubTitle() const { return fields_.get(&Fields::notificationSubTitle); }
  void setNotificationSubTitle(const zn::Value& value) { fields_.set(&Fields::notificationSubTitle, value); }
  zn::Value notificationBody() const { return fields_.get(&Fields::notificationBody); }
  void setNotificationBody(const zn::Value& value) { fields_.set(&Fields::notificationBody, value); }
  zn::Value notificationSound() const { return fields_.get(&Fields::notificationSound); }
  void setNotificationSound(const zn::Value& value) { fields_.set(&Fields::notificationSound, value); }
  zn::Value notificationMediaURL() const { return fields_.get(&Fields::notificationMediaURL); }
  void setNotificationMediaURL(const zn::Value& value) { fields_.set(&Fields::notificationMediaURL, value); }
  zn::Value screenName() const { return fields_.get(&Fields::screenName); }
  void setScreenName(const zn::Value& value) { fields_.set(&Fields::screenName, value); }
  zn::Value deepLinkURL() const { return fields_.get(&Fields::deepLinkURL); }
  void setDeepLinkURL(const zn::Value& value) { fields_.set(&Fields::deepLinkURL, value); }
  zn::Value richLandingURL() const { return fields_.get(&Fields::richLandingURL); }
  void setRichLandingURL(const zn::Value& value) { fields_.set(&Fields::richLandingURL, value); }
  zn::Value receivedDate() const { return fields_.get(&Fields::receivedDate); }  ///< date or nil, like the next two
  void setReceivedDate(const zn::Value& date) { fields_.set(&Fields::receivedDate, date); }
  zn::Value clickedDate() const { return fields_.get(&Fields::clickedDate); }
  void setClickedDate(const zn::Value& date) { fields_.set(&Fields::clickedDate, date); }
  zn::Value inboxExpiryDate() const {
    return fields_.get(&Fields::inboxExpiryDate);
  }  ///< after it the entry is removed
  void setInboxExpiryDate(const zn::Value& date) { fields_.set(&Fields::inboxExpiryDate, date); }
  bool isRead() const { return fields_.get(&Fields::isRead); }
  void setIsRead(bool isRead) { fields_.set(&Fields::isRead, isRead); }

  const char* archivedClassName() const override { return "ZNInboxModel"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;

  ZNInboxModel() = default;  ///< an entry with nothing set

 private:
  struct Archived;
  struct Fields {
    zn::Value receivedDate;  // first, on the mutex's cache line: sorting reads it of every entry
    zn::Value notificationPayloadDict;
    zn::Value screenDataDict;
    zn::Value zintarDict;
    zn::Value notificationTitle;
    zn::Value notificationSubTitle;
    zn::Value notificationBody;
    zn::Value notificationSound;
    zn::Value notificationMediaURL;
    zn::Value screenName;
    zn::Value deepLinkURL;
    zn::Value richLandingURL;
    zn::Value clickedDate;
    zn::Value inboxExpiryDate;
    zn::Value campaignID;
    std::size_t campaignHash = zn::nil.hash();
    bool isRead = false;

    void click(zn::Date now);
  };

  void fillFromPayload(const zn::Value& payload, zn::Date taken);
  void fillDates(zn::Value& payloadCopy, zn::Value& zintar, zn::Date taken);

  zn::GuardedFields<Fields> fields_;
};

namespace zn {

/// How long an entry without an expiry of its own stays, in seconds: as configured, or 30 days.
ZN_EXPORT double defaultInboxExpiryPeriod();

}  // namespace zn
