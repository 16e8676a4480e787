#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerCampaign.h"

#include "ZNMessaging/Utils/ArchivedFields_p.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/TriggerNumbers_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZintarCore/ExceptionGuard.h"
#include "ZintarCore/ZNLogger.h"

namespace {

std::atomic<std::uint64_t> eventChanges{0};

/// Reads the server's dictionary; a value of the wrong kind throws, naming the campaign.
class Reader {
 public:
  explicit Reader(const zn::Value& dictionary) : dictionary_(dictionary) {}

  zn::Value operator[](const char* key) const { return dictionary_.validObjectForKey(key); }

  zn::Value dictionary(const char* key) const {
    zn::Value value = (*this)[key];
    if (!value.isNil() && !value.isDictionary()) refuse(key, "a dictionary");
    return value.mutableCopy();
  }
  bool boolean(const char* key) const {
    const zn::Value value = (*this)[key];
    if (!value.isNil() && !value.isNumber() && !value.isString()) refuse(key, "a boolean");
    return value.boolValue();
  }

 private:
  [[noreturn]] void refuse(const char* key, const char* wanted) const {
    throw zn::Exception(zn::format("campaign %@: \"%@\" must be %@", (*this)["campaign_id"], key, wanted));
  }

  const zn::Value& dictionary_;
};

}  // namespace

const zn::Value& ZNDeviceTriggerCampaign::kActiveValue() {
  static const zn::NeverDestroyed active{zn::Value(kActive)};
  return *active;
}

std::uint64_t ZNDeviceTriggerCampaign::triggerEventChanges() { return eventChanges.load(); }

int ZNDeviceTriggerCampaign::getDeviceTriggerType(const zn::Value& type) { return type == zn::Value("test") ? 1 : 0; }

std::shared_ptr<ZNDeviceTriggerCampaign> ZNDeviceTriggerCampaign::initWithDictionary(const zn::Value& dictionary) {
  return initWithDictionary(dictionary, nullptr);
}

std::shared_ptr<ZNDeviceTriggerCampaign> ZNDeviceTriggerCampaign::initWithDictionary(
    const zn::Value& dictionary, const std::shared_ptr<ZNDeviceTriggerCampaign>& known) {
  if (known && known->isStillMadeOf(dictionary)) {
    known->problemLogged_ = false;
    return known;
  }
  const std::uint64_t knownRevision = known ? known->revision() : 0;
  Fields sent;
  zn::guarded("initWithDictionary:", "exception in initializing ZNDeviceTriggerCampaign : %@", [&] {
    try {
      fill(sent, dictionary, known ? known->payload() : nullptr);
    } catch (...) {
      sent.malformation = zn::currentExceptionText();
      throw;
    }
  });
  if (known && known->isAsSent(sent)) {
    known->problemLogged_ = false;
    known->remember(dictionary, knownRevision);
    return known;
  }
  auto campaign = std::make_shared<ZNDeviceTriggerCampaign>();
  campaign->fields_.replace(std::move(sent));
  campaign->remember(dictionary, campaign->revision());
  return campaign;
}

void ZNDeviceTriggerCampaign::fill(Fields& fields, const zn::Value& dictionary,
                                   const std::shared_ptr<ZNDeviceTriggerPayload>& known) {
  const Reader sent(dictionary);
  fields.campaignID = sent["campaign_id"];
  if (const zn::Value payload = sent.dictionary("payload")) {
    fields.payload = known && known->isAsSent(payload) ? known : ZNDeviceTriggerPayload::initWithDictionary(payload);
  }
  fields.triggerEvent = sent["trigger_event_name"];
  fields.attrConditions = sent.dictionary("condition");
  fields.campaignType = getDeviceTriggerType(sent["type"]);
  fields.status = sent["status"];
  fields.expiry = sent["expiry"];
  fields.priority = sent["priority"];
  fields.maxTimes = sent["max_times"];
  fields.campaignDelay = sent["min_delay_between_notifications"];
  fields.lastUpdatedTime = sent["last_updated"];
  fields.triggerDelay = sent["show_delay"];
  fields.maxSyncDelay = sent["max_sync_delay"];
  fields.shouldSupportOffline = sent.boolean("should_support_offline");
  fields.shouldIgnoreDND = sent.boolean("should_ignore_dnd");
}

void ZNDeviceTriggerCampaign::updateNotificationPayload(const zn::Value& dictionary) {
  if (!dictionary.isDictionary() || dictionary.isEmpty()) return;
  setUpdated_payload(ZNDeviceTriggerPayload::initWithDictionary(dictionary.mutableCopy()));
}

void ZNDeviceTriggerCampaign::setUpdated_payload(std::shared_ptr<ZNDeviceTriggerPayload> payload) {
  fields_.updateUnrevised([&](Fields& fields) { fields.updated_payload.swap(payload); });
}

void ZNDeviceTriggerCampaign::setTriggerEvent(const zn::Value& value) {
  fields_.update([&](Fields& fields) {
    fields.triggerEvent = value;
    fields.condition = nullptr;
  });
  problemLogged_ = false;
  ++eventChanges;
}

void ZNDeviceTriggerCampaign::setAttrConditions(const zn::Value& value) {
  fields_.update([&](Fields& fields) {
    fields.attrConditions = value;
    fields.condition = nullptr;
  });
  problemLogged_ = false;
}

std::shared_ptr<const ZNEventCondition> ZNDeviceTriggerCampaign::condition() const {
  return fields_.updateUnrevised([](Fields& fields) {
    if (!fields.condition) {
      zn::Value whole = fields.attrConditions.isNil() ? zn::Value::dictionary() : fields.attrConditions;
      if (whole.isDictionary()) {
        // Also no trigger event takes the place of a name in the condition: campaigns are found by their trigger event.
        whole.removeValidObjectForKey("eventName");
        whole.setObjectNilHandled(fields.triggerEvent, "eventName");
      }
      fields.condition = ZNEventCondition::initWithDictionary(whole);
    }
    return fields.condition;
  });
}

bool ZNDeviceTriggerCampaign::matches(const zn::Value& event, const zn::Value& attributes) const {
  return condition()->checkIfAttributeConditionSatisfiedForEvent(event, attributes);
}

std::string ZNDeviceTriggerCampaign::conditionRemark(const zn::Value& attributes) const {
  const auto present = condition();
  if (!present->problem().empty()) return "its condition cannot be understood: " + present->problem();
  if (!present->hasFilter()) return "it has no condition, so that every such event matches";
  const std::string refusal = present->refusal(attributes);
  return refusal.empty() ? "" : "its condition is not met: " + refusal;
}

bool ZNDeviceTriggerCampaign::checkIfAttributeConditionSatisfiedForEvent(const zn::Value& event,
                                                                         const zn::Value& attributes) const {
  if (!isActive()) {
    zn::log("Device Trigger Campaign(%@) is %@ 🛑", campaignID(), status());
    return false;
  }
  if (ZNLogger::sharedInstance()->isEnabled() && !conditionProblem().empty() && !problemLogged_.exchange(true)) {
    zn::log("Device Triggers -- Campaign(%@) has a condition that cannot be understood : %@ 🛑", campaignID(),
            conditionProblem());
  }
  return matches(event, attributes);
}

struct ZNDeviceTriggerCampaign::Archived {
  static constexpr std::tuple fields{zn::ArchivedField{"campaignID", &Fields::campaignID},
                                     zn::ArchivedField{"payload", &Fields::payload},
                                     zn::ArchivedField{"triggerEvent", &Fields::triggerEvent},
                                     zn::ArchivedField{"attrConditions", &Fields::attrConditions},
                                     zn::ArchivedField{"campaignType", &Fields::campaignType},
                                     zn::ArchivedField{"status", &Fields::status},
                                     zn::ArchivedField{"expiry", &Fields::expiry, zn::holdsNumber},
                                     zn::ArchivedField{"maxTimes", &Fields::maxTimes, zn::holdsNumber},
                                     zn::ArchivedField{"priority", &Fields::priority, zn::holdsNumber},
                                     zn::ArchivedField{"triggerDelay", &Fields::triggerDelay, zn::holdsNumber},
                                     zn::ArchivedField{"maxSyncDelay", &Fields::maxSyncDelay, zn::holdsNumber},
                                     zn::ArchivedField{"campaignDelay", &Fields::campaignDelay, zn::holdsNumber},
                                     zn::ArchivedField{"lastUpdatedTime", &Fields::lastUpdatedTime, zn::holdsNumber},
                                     zn::ArchivedField{"shouldSupportOffline", &Fields::shouldSupportOffline},
                                     zn::ArchivedField{"shouldIgnoreDND", &Fields::shouldIgnoreDND}};
};

void ZNDeviceTriggerCampaign::encodeWithCoder(zn::NSKeyedArchiver& coder) const {
  fields_.read([&](const Fields& fields) { zn::encodeFields(coder, fields, Archived::fields); });
}

/// The quick answer, without reading the dictionary: mostly the server sends what it sent before. A malformed one is
/// read again, which logs what is wrong.
bool ZNDeviceTriggerCampaign::isStillMadeOf(const zn::Value& dictionary) const {
  const std::uint64_t present = revision();
  return fields_.read([&](const Fields& fields) {
    return fields.sentRevision == present && !fields.updated_payload && fields.malformation.empty() &&
           zn::archiveAlike(fields.sent, dictionary);
  });
}

/// `revision`: that of the state that the dictionary makes.
void ZNDeviceTriggerCampaign::remember(const zn::Value& dictionary, std::uint64_t revision) {
  fields_.updateUnrevised([&](Fields& fields) {
    fields.sent = dictionary;
    fields.sentRevision = revision;
  });
}

/// A new record has no fresh contents, and says what is malformed.
bool ZNDeviceTriggerCampaign::isAsSent(const Fields& sent) const {
  return fields_.read([&](const Fields& fields) {
    return !fields.updated_payload && fields.malformation == sent.malformation &&
           zn::archiveAlike(fields, sent, Archived::fields);
  });
}

/// A change of the payload counts as one of the campaign. The payload's own number would not do: campaigns may share
/// one.
std::uint64_t ZNDeviceTriggerCampaign::revision() const {
  const auto ofPayload = [](const Fields& fields) { return fields.payload ? fields.payload->revision() : 0; };
  if (fields_.read([&](const Fields& fields) { return fields.payloadRevision != ofPayload(fields); }))
    fields_.update([&](Fields& fields) { fields.payloadRevision = ofPayload(fields); });
  return fields_.revision();
}

std::shared_ptr<ZNDeviceTriggerCampaign> ZNDeviceTriggerCampaign::initWithCoder(zn::NSKeyedUnarchiver& coder) {
  auto campaign = std::make_shared<ZNDeviceTriggerCampaign>();
  campaign->fields_.update([&](Fields& fields) { zn::decodeFields(coder, fields, Archived::fields); });
  return campaign;
}
