#include "Apps/zinsim/Operations.h"

#include <algorithm>
#include <cctype>

#include "Apps/zinsim/Archive.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"

namespace zinsim {

using zn::Value;

namespace {

/// The stored campaign of that id, or one made as the server sends it.
std::shared_ptr<ZNDeviceTriggerCampaign> campaignFor(const Value& value) {
  if (value.isDictionary()) return ZNDeviceTriggerCampaign::initWithDictionary(value);
  const auto fields = ZNDeviceTriggersDataManager::sharedInstance()->activeDeviceTriggers()->fields();
  for (const auto& campaign : fields.campaigns()) {
    if (campaign->campaignID() == value) return campaign;
  }
  throw UsageError("no campaign \"" + std::string(value.string()) + "\" is stored");
}

/// The piece of the selector that stands before that argument.
std::string pieceOf(const std::string& selector, std::size_t index) {
  std::size_t start = 0;
  for (; index > 0; --index) start = selector.find(':', start) + 1;
  return selector.substr(start, selector.find(':', start) - start);
}

Value seconds(const Value& date) { return date.isDate() ? Value(date.date().secondsSince1970) : orNull(date); }

const std::vector<Operation>& operationsOf(std::string_view className) {
  for (const OperationTable& table : allOperations()) {
    if (className == table.className) return table.operations;
  }
  throw UsageError("this version serves no calls on \"" + std::string(className) + "\"");
}

const Operation* find(const std::vector<Operation>& operations, std::string_view selector) {
  const auto found =
      std::find_if(operations.begin(), operations.end(), [&](const auto& each) { return selector == each.selector; });
  return found == operations.end() ? nullptr : &*found;
}

}  // namespace

void refuseUnfit(const std::string& selector, const std::vector<Shape>& parameters, const Value& list) {
  const auto values = list.elements();
  if (values.size() > parameters.size()) {
    throw UsageError("\"" + selector + "\" takes " + std::to_string(parameters.size()) +
                     (parameters.size() == 1 ? " argument, not " : " arguments, not ") + std::to_string(values.size()));
  }
  for (std::size_t index = 0; index < parameters.size(); ++index) {
    const Value& value = index < values.size() ? values[index] : Value::null();
    const Shape& shape = parameters[index];
    const bool takesNull = shape.fits != shape::boolean.fits;
    if (value.isNull() ? takesNull : shape.fits(value)) continue;
    const bool isNullOnly = shape.fits == shape::nothing.fits;
    refuse("argument " + std::to_string(index + 1) + " (" + pieceOf(selector, index) + ") of \"" + selector + "\"",
           std::string(shape.expected) + (takesNull && !isNullOnly ? " or null" : ""), value);
  }
}

Arguments::Arguments(const std::string& selector, const std::vector<Shape>& parameters, const Value& list,
                     Session& session)
    : values_(list.elements().begin(), list.elements().end()), session_(session) {
  refuseUnfit(selector, parameters, list);
  values_.resize(parameters.size(), Value::null());
}

void Arguments::read(const Value&, std::shared_ptr<UIApplication>& into) const {
  into = UIApplication::sharedApplication();
}

void Arguments::read(const Value&, std::shared_ptr<UNUserNotificationCenter>& into) const {
  into = UNUserNotificationCenter::currentNotificationCenter();
}

void Arguments::read(const Value& given, UNNotificationResponse& into) const {
  const Value& action = given["action"];
  into = zn::Simulator::responseFor(given.validObjectForKey("payload"),
                                    action.isNil() ? "default" : std::string(action.string()),
                                    zn::Date{session_.device().now()});
}

void Arguments::read(const Value& given, UNNotification& into) const {
  into = zn::Simulator::notificationFor(given.validObjectForKey("payload"), zn::Date{session_.device().now()});
}

void Arguments::read(const Value& given, zn::CategorySet& into) const {
  for (const Value& element : given.elements()) {
    if (!element.isDictionary()) {
      into.holdsOthers = true;
      continue;
    }
    UNNotificationCategory category;
    category.identifier = element.validObjectForKey("identifier");
    const Value actions = element.validObjectForKey("actions");
    for (const Value& action : actions.elements()) {
      category.actions.push_back({action.validObjectForKey("identifier"), action.validObjectForKey("title"), 0});
    }
    into.categories.push_back(std::move(category));
  }
}

void Arguments::read(const Value& given, std::shared_ptr<zn::Object>& into) const {
  const std::string name(given.string());
  into = session_.device().hostObjectNamed(name);
  if (!into && name == "center") into = UNUserNotificationCenter::currentNotificationCenter();
  if (!into) throw UsageError("there is no host object of class \"" + name + "\"");
}

void Arguments::read(const Value& given, Record<ZNDeviceTriggerCampaign>& into) const {
  into.record = campaignFor(given);
}

void Arguments::read(const Value& given, Record<ZNDeviceTriggerPayload>& into) const {
  into.record = ZNDeviceTriggerPayload::initWithDictionary(given);
}

void Arguments::read(const Value& given, zn::CampaignList& into) const {
  for (const Value& element : given.elements()) into.push_back(campaignFor(element));
}

void Arguments::read(const Value& given, std::shared_ptr<ZNDeviceTriggers>& into) const {
  const auto read =
      zn::NSKeyedUnarchiver::unarchiveObjectWithData(archivedRecord(given), ZNDeviceTriggers::archivedClasses());
  into = std::dynamic_pointer_cast<ZNDeviceTriggers>(read.root);
  if (into && !read.damaged) return;
  throw UsageError("this is no container of device triggers: " + shown(given) + " " + read.error);
}

void Arguments::read(const Value& given, std::shared_ptr<ZNDTPostInfo>& into) const {
  const Value campaign = given.validObjectForKey("campaign");
  const Value payload = given.validObjectForKey("payload");
  into = ZNDTPostInfo::initWithCampaign(campaign ? campaignFor(campaign) : nullptr,
                                        payload ? ZNDeviceTriggerPayload::initWithDictionary(payload) : nullptr,
                                        given["isOffline"].boolean());
}

void Arguments::read(const Value& given, UNNotificationRequest& into) const {
  const auto field = [&](const char* key) { return given.validObjectForKey(key); };
  into.identifier = field("notification").string();
  into.content.userInfo = field("userInfo");
  into.content.title = field("title");
  into.content.subtitle = field("subtitle");
  into.content.body = field("body");
  into.content.categoryIdentifier = field("category");
  if (const Value sound = field("sound")) {
    into.content.sound = sound == Value("default") ? UNNotificationSound::defaultSound()
                                                   : UNNotificationSound::soundNamed(std::string(sound.string()));
  }
  if (const Value delay = field("delay")) into.trigger = UNTimeIntervalNotificationTrigger{delay.doubleValue()};
}

void Arguments::read(const Value& given, std::optional<std::vector<std::string>>& into) const {
  into.emplace();
  for (const Value& text : given.elements()) into->emplace_back(text.string());
}

void Arguments::read(const Value& given, std::optional<UNTimeIntervalNotificationTrigger>& into) const {
  into = UNTimeIntervalNotificationTrigger{given.doubleValue()};
}

Value printed(const std::shared_ptr<ZNInboxModel>& entry) {
  if (!entry) return zn::nil;
  return Value::dictionary({{"body", orNull(entry->notificationBody())},
                            {"cid", orNull(entry->campaignID())},
                            {"clicked", seconds(entry->clickedDate())},
                            {"expiry", seconds(entry->inboxExpiryDate())},
                            {"isRead", entry->isRead()},
                            {"received", seconds(entry->receivedDate())},
                            {"title", orNull(entry->notificationTitle())}});
}

Value printed(const zn::InboxListPtr& list) {
  if (!list) return zn::nil;
  Value entries = Value::array();
  for (const auto& entry : *list) entries.append(printed(entry));
  return entries;
}

Value printed(const zn::CampaignList& campaigns) {
  Value ids = Value::array();
  for (const auto& campaign : campaigns) ids.append(orNull(campaign->campaignID()));
  return ids;
}

Value printed(const zn::CampaignListPtr& campaigns) { return campaigns ? printed(*campaigns) : zn::nil; }

Value printed(const std::shared_ptr<const ZNDeviceTriggerStatus>& status) {
  if (!status) return zn::nil;
  return Value::dictionary({{"cid", orNull(status->campaignID())},
                            {"expiry", orNull(status->expiry())},
                            {"lastShown", orNull(status->lastShownTime())},
                            {"shown", orNull(status->numberOfTimesShown())}});
}

Value printed(const std::shared_ptr<ZNDeviceTriggerPayload>& payload) {
  return payload ? payload->pushDict() : zn::nil;
}
Value printed(const std::shared_ptr<zn::Object>& object) { return object ? Value(object->isa().name()) : zn::nil; }

Value printed(const UIFont& font) {
  return font.name.empty() ? zn::nil : Value(font.name + " " + zn::numberText(font.size));
}

const std::vector<OperationTable>& allOperations() {
  static const zn::NeverDestroyed all(joined(
      {messagingOperations(), notificationOperations(), proxyOperations(), inboxOperations(), triggerOperations()}));
  return *all;
}

const Operation& operationNamed(std::string_view className, std::string_view selector) {
  if (const Operation* found = find(operationsOf(className), selector)) return *found;
  throw UsageError("unknown operation \"" + std::string(selector) + "\" of " + std::string(className));
}

const Operation& setterNamed(std::string_view className, std::string_view property) {
  const auto& operations = operationsOf(className);
  if (!property.empty() && find(operations, property)) {
    std::string setter = "set" + std::string(property) + ":";
    setter[3] = static_cast<char>(std::toupper(static_cast<unsigned char>(setter[3])));
    if (const Operation* found = find(operations, setter)) return *found;
  }
  throw UsageError(std::string(className) + " has no property \"" + std::string(property) + "\" that can be set");
}

}  // namespace zinsim
