#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxModel.h"

#include "ZNMessaging/Constants/ZNInboxExposedConstants.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace {

constexpr const char* kCreationFailure = "exception while creating inbox data model is %@";

/// The dotted paths that an entry is read from, made once.
struct KeyPaths {
  static std::string joined(const char* first, const char* second) { return zn::format("%@.%@", first, second); }
  const std::string campaignID = joined(kNotificationPayloadKeyZintar, kNotificationPayloadKeyCampaignID);
  const std::string richLandingURL = joined(kNotificationPayloadKeyZintar, kNotificationPayloadKeyRichLandingURL);
  const std::string deepLinkURL = joined(kNotificationPayloadKeyAppExtra, kNotificationPayloadKeyDeepLinkURL);
  const std::string screenName = joined(ZN_PUSH_APP_EXTRA, ZN_PUSH_SCREEN_NAME);
  const std::string screenData = joined(ZN_PUSH_APP_EXTRA, ZN_PUSH_SCREEN_DATA);
};

const KeyPaths& keyPaths() {
  static const zn::NeverDestroyed<KeyPaths> paths;
  return *paths;
}

zn::Value dateFromSeconds(const zn::Value& seconds) { return zn::Date{seconds.doubleValue()}; }

/// A field of an archive that must have a certain type to be of use.
zn::Value dateOrNil(zn::Value value) { return value.isDate() ? std::move(value) : zn::nil; }
zn::Value dictionaryOrNil(zn::Value value) { return value.isDictionary() ? std::move(value) : zn::nil; }

}  // namespace

double zn::defaultInboxExpiryPeriod() {
  constexpr std::int64_t thirtyDays = 2592000;
  const std::int64_t configured = ZNConfigDataManager::sharedInstance()->getInboxDefaultExpiry();
  return static_cast<double>(configured != 0 ? configured : thirtyDays);
}

std::shared_ptr<ZNInboxModel> ZNInboxModel::initWithNotificationPayload(const zn::Value& payload) {
  return initWithNotificationPayload(payload, zn::Date{zn::secondsSince1970()});
}

std::shared_ptr<ZNInboxModel> ZNInboxModel::initWithNotificationPayload(const zn::Value& payload, zn::Date taken) {
  auto entry = std::make_shared<ZNInboxModel>();
  zn::guarded("initWithNotificationPayload:", kCreationFailure, [&] {
    const bool isLegacyEntry = !payload.validObjectForKey(ZN_DATA).isNil();
    entry->fillFromPayload(
        isLegacyEntry ? initWithLegacyInboxPlistPayload(payload, taken)->notificationPayloadDict() : payload, taken);
  });
  return entry;
}

std::shared_ptr<ZNInboxModel> ZNInboxModel::initWithLegacyInboxPlistPayload(const zn::Value& entry) {
  return initWithLegacyInboxPlistPayload(entry, zn::Date{zn::secondsSince1970()});
}

std::shared_ptr<ZNInboxModel> ZNInboxModel::initWithLegacyInboxPlistPayload(const zn::Value& entry, zn::Date taken) {
  return zn::guarded(
      "initWithLegacyInboxPlistPayload:", kCreationFailure,
      [&] {
        zn::Value data = entry.validObjectForKey(ZN_DATA).mutableCopy();
        // An entry without a payload stays empty: whoever does not look stores an empty entry.
        if (data.isNil()) return std::make_shared<ZNInboxModel>();
        zn::Value zintar = data.validObjectForKey(kNotificationPayloadKeyZintar).mutableCopy();
        if (zintar.isDictionary()) {
          const zn::Value received = entry.validObjectForKey(ZN_PUSH_TIME);
          if (zintar.validObjectForKey(zn::payload::receivedEpoch).isNil() && !received.isNil()) {
            zintar.setObjectNilHandled(received.doubleValue(), zn::payload::receivedEpoch);
          }
          // Only a true value is written: an unread entry stays without the key.
          if (entry.validObjectForKey(ZN_PUSH_IS_READ).boolValue()) zintar.setObjectNilHandled(true, ZN_PUSH_IS_READ);
          data.setObjectNilHandled(zintar, kNotificationPayloadKeyZintar);
        }
        return initWithNotificationPayload(data, taken);
      },
      [] { return std::make_shared<ZNInboxModel>(); });
}

void ZNInboxModel::fillFromPayload(const zn::Value& payload, zn::Date taken) {
  if (payload.isNil()) return;
  if (!payload.isDictionary()) throw zn::Exception(zn::format("a payload must be a dictionary, not %@", payload));
  zn::Value payloadCopy = payload.mutableCopy();
  zn::Value zintar = payload.validObjectForKey(kNotificationPayloadKeyZintar).mutableDictionaryCopy();
  setCampaignID(payload.validObjectForKeyPath(keyPaths().campaignID));
  setNotificationContentProperties(payload.validObjectForKey(zn::payload::aps), zintar);
  setNotificationDeepLinkingPropertiesWithPayload(payload);
  fillDates(payloadCopy, zintar, taken);
  set(&Fields::notificationPayloadDict, payloadCopy);
  set(&Fields::screenDataDict, payload.validObjectForKeyPath(keyPaths().screenData));
  set(&Fields::zintarDict, zintar);
}

void ZNInboxModel::setCampaignID(const zn::Value& campaignID) {
  const std::size_t hash = campaignID.hash();
  zn::Lock lock(mutex_);
  fields_.campaignID = campaignID;
  fields_.campaignHash = hash;
}

ZNInboxModel::CampaignKey ZNInboxModel::campaignKey() const {
  zn::Lock lock(mutex_);
  return {fields_.campaignID, fields_.campaignHash};
}

void ZNInboxModel::fillDates(zn::Value& payloadCopy, zn::Value& zintar, zn::Date taken) {
  if (const zn::Value received = zintar.validObjectForKey(zn::payload::receivedEpoch)) {
    set(&Fields::receivedDate, dateFromSeconds(received));
  } else {
    // Read from inside "zintar", but written at the payload's top level: extensions and older versions rely on the two
    // places as they are.
    set(&Fields::receivedDate, taken);
    payloadCopy.setObjectNilHandled(taken.secondsSince1970, zn::payload::receivedEpoch);
  }
  if (const zn::Value isRead = zintar.validObjectForKey(ZN_PUSH_IS_READ)) setIsRead(isRead.boolValue());
  if (const zn::Value clicked = zintar.validObjectForKey(zn::payload::clickedEpoch)) {
    set(&Fields::clickedDate, dateFromSeconds(clicked));
  }
  if (const zn::Value expiry = zintar.validObjectForKey(ZN_INBOX_EXPIRY)) {
    set(&Fields::inboxExpiryDate, dateFromSeconds(expiry));
    return;
  }
  zn::Value base = receivedDate();
  if (base.isNil()) base = clickedDate();
  if (base.isNil()) return;
  const std::int64_t expiry = zn::Value(base.date().secondsSince1970 + zn::defaultInboxExpiryPeriod()).longLongValue();
  if (expiry == 0) return;
  set(&Fields::inboxExpiryDate, zn::Date{static_cast<double>(expiry)});
  zintar.setObjectNilHandled(zn::format("%ld", expiry), ZN_INBOX_EXPIRY);
}

void ZNInboxModel::setNotificationContentProperties(const zn::Value& aps, const zn::Value& zinDict) {
  if (aps.isNil()) return;  // then not even the media address is taken
  const zn::Value alert = aps.validObjectForKey(zn::payload::alert);
  zn::Lock lock(mutex_);
  if (alert.isString()) {
    fields_.notificationBody = alert;
  } else {
    fields_.notificationTitle = alert.validObjectForKey(zn::payload::title);
    fields_.notificationSubTitle = alert.validObjectForKey(zn::payload::subtitle);
    fields_.notificationBody = alert.validObjectForKey(zn::payload::body);
  }
  fields_.notificationSound = aps.validObjectForKey(zn::payload::sound);
  if (!zinDict.isNil()) fields_.notificationMediaURL = zinDict.validObjectForKey(ZN_MEDIA_ATTACHMENT);
}

void ZNInboxModel::setNotificationDeepLinkingPropertiesWithPayload(const zn::Value& payload) {
  if (payload.isNil()) return;
  zn::Lock lock(mutex_);
  fields_.deepLinkURL = payload.validObjectForKeyPath(keyPaths().deepLinkURL);
  fields_.richLandingURL = payload.validObjectForKeyPath(keyPaths().richLandingURL);
  fields_.screenName = payload.validObjectForKeyPath(keyPaths().screenName);
}

void ZNInboxModel::updateClickedDate() { updateClickedDate(zn::Date{zn::secondsSince1970()}); }

void ZNInboxModel::updateClickedDate(zn::Date clicked) {
  zn::guarded("updateClickedDate", "exception while updating inbox data model with clicked info -- %@", [&] {
    zn::Lock lock(mutex_);
    clickLocked(clicked);
  });
}

bool ZNInboxModel::markClickedIfUnread() {
  bool wasUnread = false;
  zn::guarded("updateClickedDate", "exception while updating inbox data model with clicked info -- %@", [&] {
    const zn::Date now{zn::secondsSince1970()};
    zn::Lock lock(mutex_);
    if (fields_.isRead) return;
    wasUnread = true;
    clickLocked(now);
  });
  return wasUnread;
}

void ZNInboxModel::clickLocked(zn::Date now) {
  fields_.isRead = true;
  fields_.clickedDate = now;
  zn::Value zintar = fields_.zintarDict.mutableCopy();
  if (!zintar.isDictionary()) return;  // the payload's own stays as it is then
  zintar.setObjectNilHandled(now.secondsSince1970, zn::payload::clickedEpoch);
  zintar.setObjectNilHandled(true, ZN_PUSH_IS_READ);
  fields_.zintarDict = zintar;
  zn::Value& payload = fields_.notificationPayloadDict;
  if (payload.isNil()) return;
  // An archive that another writer made may hold the payload as an immutable dictionary; it must not change under the
  // hands of whoever archived it so.
  if (!payload.isMutable()) throw zn::Exception("the stored payload is an immutable dictionary");
  payload.setObjectNilHandled(zintar, kNotificationPayloadKeyZintar);
}

zn::Value ZNInboxModel::getLegacyInboxPayload() const {
  zn::Lock lock(mutex_);
  zn::Value entry = zn::Value::dictionary().mutableCopy();
  entry.setObjectNilHandled(fields_.notificationPayloadDict, ZN_DATA);
  entry.setObjectNilHandled(fields_.campaignID, kNotificationPayloadKeyCampaignID);
  entry.setObjectNilHandled(zn::format("%f", fields_.receivedDate.date().secondsSince1970), ZN_PUSH_TIME);
  entry.setObjectNilHandled(fields_.isRead, ZN_PUSH_IS_READ);
  entry.setObjectNilHandled(true, ZN_PUSH_IS_GIVEN);
  return entry;
}

bool ZNInboxModel::isRead() const {
  zn::Lock lock(mutex_);
  return fields_.isRead;
}

void ZNInboxModel::setIsRead(bool isRead) {
  zn::Lock lock(mutex_);
  fields_.isRead = isRead;
}

zn::Value ZNInboxModel::get(zn::Value Fields::*field) const {
  zn::Lock lock(mutex_);
  return fields_.*field;
}

void ZNInboxModel::set(zn::Value Fields::*field, const zn::Value& value) {
  zn::Lock lock(mutex_);
  fields_.*field = value;
}

void ZNInboxModel::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  Fields fields;
  {
    zn::Lock lock(mutex_);
    fields = fields_;
  }
  coder.encodeObject(fields.campaignID, "cid");
  coder.encodeObject(fields.notificationPayloadDict, "notificationPayload");
  coder.encodeObject(fields.screenDataDict, "screenData");
  coder.encodeObject(fields.zintarDict, "zintarDict");
  coder.encodeObject(fields.notificationTitle, "title");
  coder.encodeObject(fields.notificationSubTitle, "subTitle");
  coder.encodeObject(fields.notificationBody, "body");
  coder.encodeObject(fields.notificationSound, "sound");
  coder.encodeObject(fields.notificationMediaURL, "mediaURL");
  coder.encodeObject(fields.receivedDate, "receivedDate");
  coder.encodeObject(fields.inboxExpiryDate, "inboxExpiryDate");
  coder.encodeObject(fields.clickedDate, "clickedDate");
  coder.encodeBool(fields.isRead, "isRead");
  coder.encodeObject(fields.screenName, "screenName");
  coder.encodeObject(fields.deepLinkURL, "deepLinkURL");
  coder.encodeObject(fields.richLandingURL, "richLandingURL");
}

std::shared_ptr<ZNInboxModel> ZNInboxModel::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto entry = std::make_shared<ZNInboxModel>();
  entry->setCampaignID(coder.decodeObjectForKey("cid"));
  zn::Lock lock(entry->mutex_);
  Fields& fields = entry->fields_;
  fields.notificationPayloadDict = dictionaryOrNil(coder.decodeObjectForKey("notificationPayload"));
  fields.screenDataDict = coder.decodeObjectForKey("screenData");
  fields.zintarDict = dictionaryOrNil(coder.decodeObjectForKey("zintarDict"));
  fields.notificationTitle = coder.decodeObjectForKey("title");
  fields.notificationSubTitle = coder.decodeObjectForKey("subTitle");
  fields.notificationBody = coder.decodeObjectForKey("body");
  fields.notificationSound = coder.decodeObjectForKey("sound");
  fields.notificationMediaURL = coder.decodeObjectForKey("mediaURL");
  fields.receivedDate = dateOrNil(coder.decodeObjectForKey("receivedDate"));
  fields.inboxExpiryDate = dateOrNil(coder.decodeObjectForKey("inboxExpiryDate"));
  fields.clickedDate = dateOrNil(coder.decodeObjectForKey("clickedDate"));
  fields.isRead = coder.decodeBoolForKey("isRead");
  fields.screenName = coder.decodeObjectForKey("screenName");
  fields.deepLinkURL = coder.decodeObjectForKey("deepLinkURL");
  fields.richLandingURL = coder.decodeObjectForKey("richLandingURL");
  return entry;
}
