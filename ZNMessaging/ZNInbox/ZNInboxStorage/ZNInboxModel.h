#pragma once

#include <limits>
#include <memory>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/KeyedArchive.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZintarCore/GuardedFields.h"

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

  /// What makes an entry the one of its campaign.
  zn::Value campaignID() const { return fields_.get(&Fields::campaignID); }
  void setCampaignID(const zn::Value& campaignID);
  /// The campaign id with its hash, for looking entries up: equal for entries of one campaign, also where both have no
  /// id.
  struct CampaignKey {
    zn::Value id;
    std::size_t hash = zn::nil.hash();
    friend bool operator==(const CampaignKey& a, const CampaignKey& b) { return a.hash == b.hash && a.id == b.id; }
  };
  CampaignKey campaignKey() const;
  std::size_t campaignHash() const { return fields_.get(&Fields::campaignHash); }  ///< the key's; copies nothing
  bool isOfSameCampaign(const ZNInboxModel& other) const { return campaignKey() == other.campaignKey(); }
  /// What observers of the inbox see of an entry, read as one step.
  struct Seen {
    CampaignKey campaign;
    bool isRead = false;
  };
  Seen seen() const;
  bool isStill(const Seen& earlier) const;  ///< nothing of it has changed since; copies nothing

  // Setters change the property alone, not what the stored payload says.

  // What an entry of the inbox file holds is made when the first of these is asked for.
  zn::Value notificationPayloadDict() const { return content(&Fields::notificationPayloadDict); }
  void setNotificationPayloadDict(const zn::Value& value) { setContent(&Fields::notificationPayloadDict, value); }
  bool hasPayload() const;  ///< whether notificationPayloadDict gives one, without a look into it
  zn::Value screenDataDict() const { return content(&Fields::screenDataDict); }
  void setScreenDataDict(const zn::Value& value) { setContent(&Fields::screenDataDict, value); }
  zn::Value zintarDict() const { return content(&Fields::zintarDict); }
  void setZintarDict(const zn::Value& value) { setContent(&Fields::zintarDict, value); }
  zn::Value notificationTitle() const { return content(&Fields::notificationTitle); }
  void setNotificationTitle(const zn::Value& value) { setContent(&Fields::notificationTitle, value); }
  zn::Value notificationSubTitle() const { return content(&Fields::notificationSubTitle); }
  void setNotificationSubTitle(const zn::Value& value) { setContent(&Fields::notificationSubTitle, value); }
  zn::Value notificationBody() const { return content(&Fields::notificationBody); }
  void setNotificationBody(const zn::Value& value) { setContent(&Fields::notificationBody, value); }
  zn::Value notificationSound() const { return content(&Fields::notificationSound); }
  void setNotificationSound(const zn::Value& value) { setContent(&Fields::notificationSound, value); }
  zn::Value notificationMediaURL() const { return content(&Fields::notificationMediaURL); }
  void setNotificationMediaURL(const zn::Value& value) { setContent(&Fields::notificationMediaURL, value); }
  zn::Value screenName() const { return content(&Fields::screenName); }
  void setScreenName(const zn::Value& value) { setContent(&Fields::screenName, value); }
  zn::Value deepLinkURL() const { return content(&Fields::deepLinkURL); }
  void setDeepLinkURL(const zn::Value& value) { setContent(&Fields::deepLinkURL, value); }
  zn::Value richLandingURL() const { return content(&Fields::richLandingURL); }
  void setRichLandingURL(const zn::Value& value) { setContent(&Fields::richLandingURL, value); }

  ZN_PROPERTY(zn::Value, receivedDate, setReceivedDate)  ///< date or nil, like the next two
  ZN_PROPERTY(zn::Value, clickedDate, setClickedDate)
  ZN_PROPERTY(zn::Value, inboxExpiryDate, setInboxExpiryDate)  ///< after it the entry is removed
  /// The received date's seconds since 1970; for nil, what sorts after all of them.
  double receivedSeconds() const {
    return fields_.read([](const Fields& fields) {
      return fields.receivedDate.isDate() ? fields.receivedDate.date().secondsSince1970
                                          : -std::numeric_limits<double>::infinity();
    });
  }
  ZN_PROPERTY(bool, isRead, setIsRead)
  bool isUnreadWithPayload() const;  ///< read as one step

  const char* archivedClassName() const override { return "ZNInboxModel"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;
  std::uint64_t revision() const override { return fields_.revision(); }

  ZNInboxModel() = default;  ///< an entry with nothing set

 private:
  struct Archived;
  struct Fields {
    // First, beside the mutex: merging and sorting read these two of every entry.
    zn::Value receivedDate;
    std::size_t campaignHash = zn::nil.hash();
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
    bool isRead = false;
    bool unreadHasPayload = false;
    zn::FieldsForLater unread;  // payload, texts and links, until the first of them is asked for

    bool holdsPayload() const { return unread ? unreadHasPayload : !notificationPayloadDict.isNil(); }
    void readAll();
    void setCampaign(const zn::Value& id);
    void setContent(const zn::Value& aps, const zn::Value& zinDict);
    void setLinks(const zn::Value& payload);
    /// Both copies get what a payload without dates lacks.
    void setDates(zn::Value& payloadCopy, zn::Value& zintar, zn::Date taken, double expiryPeriod);
    void click(zn::Date now);
  };

  void fillFromPayload(const zn::Value& payload, zn::Date taken);

  zn::Value content(zn::Value Fields::*field) const;
  void setContent(zn::Value Fields::*field, const zn::Value& value);
  /// `fields_.update`, for a change that needs what is still to be read.
  template <class Change>
  void updateAll(const Change& change);

  mutable zn::RevisedFields<Fields> fields_;  // reading what was left in the archive changes nothing of an entry
};

namespace zn {

/// How long an entry without an expiry of its own stays, in seconds: as configured, or 30 days.
ZN_EXPORT double defaultInboxExpiryPeriod();

}  // namespace zn
