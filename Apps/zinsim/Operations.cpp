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

Arguments::Arguments(const std::string& selector, const std::vector<Shape>& parameters, const Value& list,
                     Session& session)
    : values_(list.elements().begin(), list.elements().end()), session_(session) {
  if (values_.size() > parameters.size()) {
    throw UsageError("\"" + selector + "\" takes " + std::to_string(parameters.size()) +
                     (parameters.size() == 1 ? " argument, not " : " arguments, not ") +
                     std::to_string(values_.size()));
  }
  values_.resize(parameters.size(), Value::null());
  for (std::size_t index = 0; index < values_.size(); ++index) {
    const Shape& shape = parameters[index];
    const bool takesNull = shape.fits != shape::boolean.fits;
    if (values_[index].isNull() ? takesNull : shape.fits(values_[index])) continue;
    const bool isNullOnly = shape.fits == shape::nothing.fits;
    refuse("argument " + std::to_string(index + 1) + " (" + pieceOf(selector, index) + ") of \"" + selector + "\"",
           std::string(shape.expected) + (takesNull && !isNullOnly ? " or null" : ""), values_[index]);
  }
}

Value Arguments::value(std::size_t index) const { return isGiven(index) ? values_[index] : zn::nil; }

zn::Data Arguments::data(std::size_t index) const {
  const auto bytes = values_[index].data();
  return zn::Data(bytes.begin(), bytes.end());
}

std::shared_ptr<UIApplication> Arguments::application(std::size_t index) const {
  return isGiven(index) ? UIApplication::sharedApplication() : nullptr;
}

std::shared_ptr<UNUserNotificationCenter> Arguments::center(std::size_t index) const {
  return isGiven(index) ? UNUserNotificationCenter::currentNotificationCenter() : nullptr;
}

UNNotificationResponse Arguments::response(std::size_t index) const {
  if (!isGiven(index)) return {};
  const Value& action = values_[index]["action"];
  return zn::Simulator::responseFor(values_[index].validObjectForKey("payload"),
                                    action.isNil() ? "default" : std::string(action.string()),
                                    zn::Date{session_.device().now()});
}

UNNotification Arguments::notification(std::size_t index) const {
  if (!isGiven(index)) return {};
  return zn::Simulator::notificationFor(values_[index].validObjectForKey("payload"), zn::Date{session_.device().now()});
}

std::function<void()> Arguments::completion(std::size_t index) const {
  if (!isGiven(index)) return nullptr;
  return [&session = session_] { session.print("completion", zn::nil); };
}

std::function<void(bool)> Arguments::booleanCompletion(std::size_t index) const {
  if (!isGiven(index)) return nullptr;
  return [&session = session_](bool value) { session.print("completion", value); };
}

std::function<void(unsigned)> Arguments::optionsCompletion(std::size_t index) const {
  if (!isGiven(index)) return nullptr;
  return [&session = session_](unsigned options) { session.print("completion", options); };
}

std::function<void(const Value&)> Arguments::valueCompletion(std::size_t index) const {
  if (!isGiven(index)) return nullptr;
  return [&session = session_](const Value& value) { session.print("completion", value); };
}

zn::CategorySet Arguments::categories(std::size_t index) const {
  zn::CategorySet set;
  for (const Value& element : values_[index].elements()) {
    if (!element.isDictionary()) {
      set.holdsOthers = true;
      continue;
    }
    UNNotificationCategory category;
    category.identifier = element.validObjectForKey("identifier");
    const Value actions = element.validObjectForKey("actions");
    for (const Value& action : actions.elements()) {
      category.actions.push_back({action.validObjectForKey("identifier"), action.validObjectForKey("title"), 0});
    }
    set.categories.push_back(std::move(category));
  }
  return set;
}

std::shared_ptr<zn::Object> Arguments::object(std::size_t index) const {
  if (!isGiven(index)) return nullptr;
  const std::string name(values_[index].string());
  if (auto known = session_.device().hostObjectNamed(name)) return known;
  if (name == "center") return UNUserNotificationCenter::currentNotificationCenter();
  throw UsageError("there is no host object of class \"" + name + "\"");
}

std::shared_ptr<ZNDeviceTriggerCampaign> Arguments::campaign(std::size_t index) const {
  return isGiven(index) ? campaignFor(values_[index]) : std::make_shared<ZNDeviceTriggerCampaign>();
}

std::shared_ptr<ZNDeviceTriggerPayload> Arguments::triggerPayload(std::size_t index) const {
  return ZNDeviceTriggerPayload::initWithDictionary(value(index));
}

zn::CampaignList Arguments::campaigns(std::size_t index) const {
  zn::CampaignList list;
  for (const Value& element : values_[index].elements()) list.push_back(campaignFor(element));
  return list;
}

std::shared_ptr<ZNDeviceTriggers> Arguments::container(std::size_t index) const {
  if (!isGiven(index)) return nullptr;
  const auto read = zn::NSKeyedUnarchiver::unarchiveObjectWithData(archivedRecord(values_[index]),
                                                                   ZNDeviceTriggers::archivedClasses());
  auto container = std::dynamic_pointer_cast<ZNDeviceTriggers>(read.root);
  if (!container || read.damaged) {
    throw UsageError("this is no container of device triggers: " + shown(values_[index]) + " " + read.error);
  }
  return container;
}

std::shared_ptr<ZNDTPostInfo> Arguments::postInfo(std::size_t index) const {
  if (!isGiven(index)) return nullptr;
  const Value campaign = values_[index].validObjectForKey("campaign");
  const Value payload = values_[index].validObjectForKey("payload");
  return ZNDTPostInfo::initWithCampaign(campaign ? campaignFor(campaign) : nullptr,
                                        payload ? ZNDeviceTriggerPayload::initWithDictionary(payload) : nullptr,
                                        values_[index]["isOffline"].boolean());
}

UNNotificationRequest Arguments::request(std::size_t index) const {
  const Value& line = values_[index];
  const auto field = [&](const char* key) { return line.validObjectForKey(key); };
  UNNotificationRequest made;
  made.identifier = field("notification").string();
  made.content.userInfo = field("userInfo");
  made.content.title = field("title");
  made.content.subtitle = field("subtitle");
  made.content.body = field("body");
  made.content.categoryIdentifier = field("category");
  if (const Value sound = field("sound")) {
    made.content.sound = sound == Value("default") ? UNNotificationSound::defaultSound()
                                                   : UNNotificationSound::soundNamed(std::string(sound.string()));
  }
  if (const Value delay = field("delay")) made.trigger = UNTimeIntervalNotificationTrigger{delay.doubleValue()};
  return made;
}

std::optional<std::vector<std::string>> Arguments::texts(std::size_t index) const {
  if (!isGiven(index)) return std::nullopt;
  std::vector<std::string> texts;
  for (const Value& text : values_[index].elements()) texts.emplace_back(text.string());
  return texts;
}

std::optional<UNTimeIntervalNotificationTrigger> Arguments::trigger(std::size_t index) const {
  if (!isGiven(index)) return std::nullopt;
  return UNTimeIntervalNotificationTrigger{values_[index].doubleValue()};
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
