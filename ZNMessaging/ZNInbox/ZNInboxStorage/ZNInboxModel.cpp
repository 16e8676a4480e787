#include "ZNMessaging/ZNInbox/ZNInboxStorage/ZNInboxModel.h"

#include <string>
#include <utility>

#include "ZNMessaging/Constants/ZNInboxExposedConstants.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/Utils/ArchivedFields_p.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace {

constexpr const char* kClickSelector = "updateClickedDate";
constexpr const char* kClickFailure = "exception while updating inbox data model with clicked info -- %@";
constexpr const char* kCreationFailure = "exception while creating inbox data model is %@";

zn::Value dateFromSeconds(const zn::Value& seconds) { return zn::Date{seconds.doubleValue()}; }

/// As validObjectForKey, without a copy.
const zn::Value& valid(const zn::Value& dictionary, const char* key) {
  const zn::Value& found = dictionary[key];
  return found.isNull() ? zn::nil : found;
}

bool isDictionary(const zn::Value& read) { return read.isDictionary(); }

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
        zn::Value data = valid(entry, ZN_DATA).mutableCopy();
        // An entry without a payload stays empty: whoever does not look stores an empty entry.
        if (data.isNil()) return std::make_shared<ZNInboxModel>();
        zn::Value zintar = valid(data, kNotificationPayloadKeyZintar).mutableCopy();
        if (zintar.isDictionary()) {
          const zn::Value& received = valid(entry, ZN_PUSH_TIME);
          if (valid(zintar, zn::payload::receivedEpoch).isNil() && !received.isNil()) {
            zintar.setObjectNilHandled(received.doubleValue(), zn::payload::receivedEpoch);
          }
          // Only a true value is written: an unread entry stays without the key.
          if (valid(entry, ZN_PUSH_IS_READ).boolValue()) zintar.setObjectNilHandled(true, ZN_PUSH_IS_READ);
          data.setObjectNilHandled(std::move(zintar), kNotificationPayloadKeyZintar);
        }
        return initWithNotificationPayload(data, taken);
      },
      [] { return std::make_shared<ZNInboxModel>(); });
}

void ZNInboxModel::fillFromPayload(const zn::Value& payload, zn::Date taken) {
  if (payload.isNil()) return;
  if (!payload.isDictionary()) throw zn::Exception(zn::format("a payload must be a dictionary, not %@", payload));
  updateAll([&, expiryPeriod = zn::defaultInboxExpiryPeriod()](Fields& fields) {
    zn::Value payloadCopy = payload.mutableCopy();
    zn::Value zintar = valid(payload, kNotificationPayloadKeyZintar).mutableDictionaryCopy();
    fields.setCampaign(valid(zintar, kNotificationPayloadKeyCampaignID));
    fields.setContent(valid(payload, zn::payload::aps), zintar);
    fields.setLinks(payload);
    fields.setDates(payloadCopy, zintar, taken, expiryPeriod);
    fields.notificationPayloadDict = std::move(payloadCopy);
    fields.screenDataDict = valid(valid(payload, ZN_PUSH_APP_EXTRA), ZN_PUSH_SCREEN_DATA);
    fields.zintarDict = std::move(zintar);
  });
}

void ZNInboxModel::Fields::setCampaign(const zn::Value& id) {
  campaignID = id;
  campaignHash = id.hash();
}

void ZNInboxModel::setCampaignID(const zn::Value& campaignID) {
  fields_.update([&](Fields& fields) { fields.setCampaign(campaignID); });
}

ZNInboxModel::CampaignKey ZNInboxModel::campaignKey() const {
  return fields_.read([](const Fields& fields) { return CampaignKey{fields.campaignID, fields.campaignHash}; });
}

ZNInboxModel::Seen ZNInboxModel::seen() const {
  return fields_.read([](const Fields& fields) {
    return Seen{{fields.campaignID, fields.campaignHash}, fields.isRead};
  });
}

bool ZNInboxModel::isStill(const Seen& earlier) const {
  return fields_.read([&](const Fields& fields) {
    return fields.isRead == earlier.isRead && fields.campaignHash == earlier.campaign.hash &&
           fields.campaignID == earlier.campaign.id;
  });
}

bool ZNInboxModel::hasPayload() const {
  return fields_.read([](const Fields& fields) { return fields.holdsPayload(); });
}

bool ZNInboxModel::isUnreadWithPayload() const {
  return fields_.read([](const Fields& fields) { return !fields.isRead && fields.holdsPayload(); });
}

zn::Value ZNInboxModel::content(zn::Value Fields::*field) const {
  return fields_.updateUnrevised([&](Fields& fields) {
    fields.readAll();
    return fields.*field;
  });
}

void ZNInboxModel::setContent(zn::Value Fields::*field, const zn::Value& value) {
  updateAll([&](Fields& fields) { fields.*field = value; });
}

template <class Change>
void ZNInboxModel::updateAll(const Change& change) {
  fields_.update([&](Fields& fields) {
    fields.readAll();
    change(fields);
  });
}

void ZNInboxModel::Fields::setDates(zn::Value& payloadCopy, zn::Value& zintar, zn::Date taken, double expiryPeriod) {
  if (const zn::Value& received = valid(zintar, zn::payload::receivedEpoch)) {
    receivedDate = dateFromSeconds(received);
  } else {
    // Read from inside "zintar", but written at the payload's top level: extensions and older versions rely on the two
    // places as they are.
    receivedDate = taken;
    payloadCopy.setObjectNilHandled(taken.secondsSince1970, zn::payload::receivedEpoch);
  }
  if (const zn::Value& read = valid(zintar, ZN_PUSH_IS_READ)) isRead = read.boolValue();
  if (const zn::Value& clicked = valid(zintar, zn::payload::clickedEpoch)) clickedDate = dateFromSeconds(clicked);
  if (const zn::Value& expiry = valid(zintar, ZN_INBOX_EXPIRY)) {
    inboxExpiryDate = dateFromSeconds(expiry);
    return;
  }
  const std::int64_t expiry = zn::Value(receivedDate.date().secondsSince1970 + expiryPeriod).longLongValue();
  if (expiry == 0) return;
  inboxExpiryDate = zn::Date{static_cast<double>(expiry)};
  zintar.setObjectNilHandled(std::to_string(expiry), ZN_INBOX_EXPIRY);
}

void ZNInboxModel::setNotificationContentProperties(const zn::Value& aps, const zn::Value& zinDict) {
  updateAll([&](Fields& fields) { fields.setContent(aps, zinDict); });
}

void ZNInboxModel::Fields::setContent(const zn::Value& aps, const zn::Value& zinDict) {
  if (aps.isNil()) return;  // then not even the media address is taken
  const zn::Value& alert = valid(aps, zn::payload::alert);
  if (alert.isString()) {
    notificationBody = alert;
  } else {
    notificationTitle = valid(alert, zn::payload::title);
    notificationSubTitle = valid(alert, zn::payload::subtitle);
    notificationBody = valid(alert, zn::payload::body);
  }
  notificationSound = valid(aps, zn::payload::sound);
  if (!zinDict.isNil()) notificationMediaURL = valid(zinDict, ZN_MEDIA_ATTACHMENT);
}

void ZNInboxModel::setNotificationDeepLinkingPropertiesWithPayload(const zn::Value& payload) {
  updateAll([&](Fields& fields) { fields.setLinks(payload); });
}

void ZNInboxModel::Fields::setLinks(const zn::Value& payload) {
  if (payload.isNil()) return;
  deepLinkURL = valid(valid(payload, kNotificationPayloadKeyAppExtra), kNotificationPayloadKeyDeepLinkURL);
  richLandingURL = valid(valid(payload, kNotificationPayloadKeyZintar), kNotificationPayloadKeyRichLandingURL);
  screenName = valid(valid(payload, ZN_PUSH_APP_EXTRA), ZN_PUSH_SCREEN_NAME);
}

void ZNInboxModel::updateClickedDate() { updateClickedDate(zn::Date{zn::secondsSince1970()}); }

void ZNInboxModel::updateClickedDate(zn::Date clicked) {
  zn::guarded(kClickSelector, kClickFailure, [&] { fields_.update([&](Fields& fields) { fields.click(clicked); }); });
}

bool ZNInboxModel::markClickedIfUnread() {
  bool wasUnread = false;
  zn::guarded(kClickSelector, kClickFailure, [&] {
    const zn::Date now{zn::secondsSince1970()};
    fields_.update([&](Fields& fields) {
      if (fields.isRead) return;
      wasUnread = true;
      fields.click(now);
    });
  });
  return wasUnread;
}

void ZNInboxModel::Fields::click(zn::Date now) {
  readAll();
  isRead = true;
  clickedDate = now;
  zn::Value zintar = zintarDict.mutableCopy();
  if (!zintar.isDictionary()) return;  // the payload's own stays as it is then
  zintar.setObjectNilHandled(now.secondsSince1970, zn::payload::clickedEpoch);
  zintar.setObjectNilHandled(true, ZN_PUSH_IS_READ);
  zintarDict = zintar;
  if (notificationPayloadDict.isNil()) return;
  // An archive that another writer made may hold the payload as an immutable dictionary; it must not change under the
  // hands of whoever archived it so.
  if (!notificationPayloadDict.isMutable()) throw zn::Exception("the stored payload is an immutable dictionary");
  notificationPayloadDict.setObjectNilHandled(zintar, kNotificationPayloadKeyZintar);
}

zn::Value ZNInboxModel::getLegacyInboxPayload() const {
  const Fields fields = fields_.updateUnrevised([](Fields& present) {
    present.readAll();
    return present;
  });
  return zn::Value::dictionary({{ZN_DATA, fields.notificationPayloadDict},
                                {kNotificationPayloadKeyCampaignID, fields.campaignID},
                                {ZN_PUSH_TIME, zn::format("%f", fields.receivedDate.date().secondsSince1970)},
                                {ZN_PUSH_IS_READ, fields.isRead},
                                {ZN_PUSH_IS_GIVEN, true}})
      .mutableCopy();
}

struct ZNInboxModel::Archived {
  static constexpr auto kLater = zn::ReadField::later;
  static constexpr std::tuple fields{
      zn::ArchivedField{"cid", &Fields::campaignID},
      zn::ArchivedField{"notificationPayload", &Fields::notificationPayloadDict, isDictionary, kLater},
      zn::ArchivedField{"screenData", &Fields::screenDataDict, nullptr, kLater},
      zn::ArchivedField{"zintarDict", &Fields::zintarDict, isDictionary, kLater},
      zn::ArchivedField{"title", &Fields::notificationTitle, nullptr, kLater},
      zn::ArchivedField{"subTitle", &Fields::notificationSubTitle, nullptr, kLater},
      zn::ArchivedField{"body", &Fields::notificationBody, nullptr, kLater},
      zn::ArchivedField{"sound", &Fields::notificationSound, nullptr, kLater},
      zn::ArchivedField{"mediaURL", &Fields::notificationMediaURL, nullptr, kLater},
      zn::ArchivedField{"receivedDate", &Fields::receivedDate, zn::isDate},
      zn::ArchivedField{"inboxExpiryDate", &Fields::inboxExpiryDate, zn::isDate},
      zn::ArchivedField{"clickedDate", &Fields::clickedDate, zn::isDate},
      zn::ArchivedField{"isRead", &Fields::isRead},
      zn::ArchivedField{"screenName", &Fields::screenName, nullptr, kLater},
      zn::ArchivedField{"deepLinkURL", &Fields::deepLinkURL, nullptr, kLater},
      zn::ArchivedField{"richLandingURL", &Fields::richLandingURL, nullptr, kLater}};
};

void ZNInboxModel::Fields::readAll() {
  if (!unread) return;
  unread.read(
      [this](zn::NSKeyedUnarchiver& coder) { zn::decodeFields(coder, *this, Archived::fields, Archived::kLater); });
  unread = {};  // not before all is read
}

void ZNInboxModel::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  fields_.updateUnrevised([&](Fields& fields) {
    fields.readAll();
    zn::encodeFields(coder, fields, Archived::fields);
  });
}

std::shared_ptr<ZNInboxModel> ZNInboxModel::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto entry = std::make_shared<ZNInboxModel>();
  entry->fields_.updateUnrevised([&](Fields& fields) {
    zn::decodeFields(coder, fields, Archived::fields, zn::ReadField::atOnce);
    fields.campaignHash = fields.campaignID.hash();
    // What was read now must be shared with what is read later: only a campaign could share anything.
    if (!fields.campaignID.isContainer()) fields.unread = coder.fieldsForLater();
    if (fields.unread) {
      fields.unreadHasPayload = coder.decodesDictionaryForKey("notificationPayload");
    } else {
      zn::decodeFields(coder, fields, Archived::fields, Archived::kLater);
    }
  });
  return entry;
}
