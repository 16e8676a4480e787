#pragma once

#include <memory>

#include "Platform/Export.h"
#include "Platform/Foundation/KeyedArchive.h"
#include "Platform/Foundation/Mutex.h"
#include "Platform/Foundation/Value.h"

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
  /// `initWithLegacyInboxPlistPayload:`: from a legacy inbox entry, as older versions and the server deliver them:
  /// {"data": payload, "c_cr_t": seconds since 1970 as number or string, "isRead": boolean}. Without "data" the entry
  /// has nothing set.
  static std::shared_ptr<ZNInboxModel> initWithLegacyInboxPlistPayload(const zn::Value& entry);
  /// `initWithCoder:`
  static std::shared_ptr<ZNInboxModel> initWithCoder(zn::NSKeyedUnarchiver& coder);

  /// `getLegacyInboxPayload`: the legacy inbox entry for this entry.
  zn::Value getLegacyInboxPayload() const;

  /// `updateClickedDate`: read, and clicked now; also in the stored payload.
  void updateClickedDate();
  void updateClickedDate(zn::Date clicked);  ///< for a click of that time
  /// The same for an unread entry only, as one step; false when it was read already.
  bool markClickedIfUnread();

  /// `setNotificationContentProperties:andZinDict:`: title, subtitle, body, sound and media address.
  void setNotificationContentProperties(const zn::Value& aps, const zn::Value& zinDict);
  /// `setNotificationDeepLinkingPropertiesWithPayload:`: deep link, landing page and screen.
  void setNotificationDeepLinkingPropertiesWithPayload(const zn::Value& payload);

  zn::Value campaignID() const { return campaignID_; }  ///< never changes once the entry is made
  /// Whether both entries have equal campaign ids, also when neither has one.
  bool isOfSameCampaign(const ZNInboxModel& other) const {
    return campaignHash_ == other.campaignHash_ && campaignID_ == other.campaignID_;
  }
  std::size_t campaignHash() const { return campaignHash_; }  ///< equal for entries of the same campaign
  zn::Value notificationPayloadDict() const { return get(&Fields::notificationPayloadDict); }
  zn::Value screenDataDict() const { return get(&Fields::screenDataDict); }
  zn::Value zintarDict() const { return get(&Fields::zintarDict); }
  zn::Value notificationTitle() const { return get(&Fields::notificationTitle); }
  zn::Value notificationSubTitle() const { return get(&Fields::notificationSubTitle); }
  zn::Value notificationBody() const { return get(&Fields::notificationBody); }
  zn::Value notificationSound() const { return get(&Fields::notificationSound); }
  zn::Value notificationMediaURL() const { return get(&Fields::notificationMediaURL); }
  zn::Value screenName() const { return get(&Fields::screenName); }
  zn::Value deepLinkURL() const { return get(&Fields::deepLinkURL); }
  zn::Value richLandingURL() const { return get(&Fields::richLandingURL); }
  zn::Value receivedDate() const { return get(&Fields::receivedDate); }  ///< date or nil, like the next two
  zn::Value clickedDate() const { return get(&Fields::clickedDate); }
  zn::Value inboxExpiryDate() const { return get(&Fields::inboxExpiryDate); }  ///< after it the entry is removed
  bool isRead() const;

  void setReceivedDate(const zn::Value& date) { set(&Fields::receivedDate, date); }
  void setClickedDate(const zn::Value& date) { set(&Fields::clickedDate, date); }
  void setIsRead(bool isRead);

  const char* archivedClassName() const override { return "ZNInboxModel"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;

  ZNInboxModel() = default;  ///< an entry with nothing set

 private:
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
    bool isRead = false;
  };

  zn::Value get(zn::Value Fields::*field) const;
  void set(zn::Value Fields::*field, const zn::Value& value);
  void setCampaignID(zn::Value campaignID);  // before the entry is shared
  void fillFromPayload(const zn::Value& payload);
  void fillDates(zn::Value& payloadCopy, zn::Value& zintar);
  void clickLocked(zn::Date now) ZN_REQUIRES(mutex_);

  zn::Value campaignID_;
  std::size_t campaignHash_ = zn::nil.hash();
  mutable zn::Mutex mutex_;
  Fields fields_ ZN_GUARDED_BY(mutex_);
};
