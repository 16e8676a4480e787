#include "Apps/zinsim/Arguments.h"

#include <algorithm>

#include "Apps/zinsim/Archive.h"
#include "Apps/zinsim/Fields.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"

namespace zinsim {

using zn::Value;

namespace {

bool isText(const Value& value, std::string_view text) { return value.isString() && value.string() == text; }

bool isPush(const Value& value) {
  const Value& payload = value["payload"];
  const Value& action = value["action"];
  return value.isDictionary() && (payload.isNil() || shape::dictionaryOrNull.fits(payload)) &&
         (action.isNil() || action.isString());
}

bool isCampaign(const Value& value) { return value.isString() || value.isDictionary(); }

bool areCampaigns(const Value& value) {
  return value.isArray() && std::all_of(value.elements().begin(), value.elements().end(), isCampaign);
}

bool isPostInfo(const Value& value) {
  const Value& campaign = value["campaign"];
  const Value& isOffline = value["isOffline"];
  const auto absent = [](const Value& field) { return field.isNil() || field.isNull(); };
  return value.isDictionary() && (absent(campaign) || isCampaign(campaign)) &&
         (absent(value["payload"]) || value["payload"].isDictionary()) && (absent(isOffline) || isOffline.isBoolean());
}

bool isRequest(const Value& value) {
  const Value delay = value.validObjectForKey("delay");
  return value.isDictionary() && value["notification"].isString() && (delay.isNil() || shape::number.fits(delay));
}

/// The stored campaign of that id, or one made as the server sends it.
std::shared_ptr<ZNDeviceTriggerCampaign> campaignFor(const Value& value) {
  if (value.isDictionary()) return ZNDeviceTriggerCampaign::initWithDictionary(value);
  const auto fields = ZNDeviceTriggersDataManager::sharedInstance()->activeDeviceTriggers()->fields();
  for (const auto& campaign : fields.campaigns()) {
    if (campaign->campaignID() == value) return campaign;
  }
  throw UsageError("no campaign \"" + std::string(value.string()) + "\" is stored");
}

bool fits(Parameter parameter, const Value& value) {
  if (value.isNull()) return parameter != Parameter::boolean;
  switch (parameter) {
    case Parameter::anything:
      return true;
    case Parameter::text:
    case Parameter::object:
      return value.isString();
    case Parameter::number:
      return value.isNumber() && !value.isBoolean();
    case Parameter::boolean:
      return value.isBoolean();
    case Parameter::dictionary:
    case Parameter::triggerPayload:
    case Parameter::container:
      return value.isDictionary();
    case Parameter::postInfo:
      return isPostInfo(value);
    case Parameter::request:
      return isRequest(value);
    case Parameter::array:
    case Parameter::categories:
      return value.isArray();
    case Parameter::texts:
      return shape::texts.fits(value);
    case Parameter::campaign:
      return isCampaign(value);
    case Parameter::campaigns:
      return areCampaigns(value);
    case Parameter::application:
      return isText(value, "application");
    case Parameter::center:
      return isText(value, "center");
    case Parameter::response:
    case Parameter::notification:
      return isPush(value);
    case Parameter::token:
      return value.isData();
    case Parameter::completion:
      return isText(value, "completion");
    case Parameter::nothing:
      return false;
  }
  return false;
}

const char* expected(Parameter parameter) {
  switch (parameter) {
    case Parameter::anything:
      return "any value";
    case Parameter::text:
      return "a text or null";
    case Parameter::number:
      return "a number or null";
    case Parameter::boolean:
      return "true or false";
    case Parameter::dictionary:
    case Parameter::triggerPayload:
      return "a dictionary or null";
    case Parameter::array:
      return "an array or null";
    case Parameter::texts:
      return "an array of texts or null";
    case Parameter::container:
      return "{\"$class\": \"ZNDeviceTriggers\", CODER KEY: value, ...} or null";
    case Parameter::postInfo:
      return "{\"campaign\": ..., \"payload\": {...}, \"isOffline\": BOOL} or null";
    case Parameter::request:
      return "{\"notification\": TEXT, \"title\": ..., \"delay\": SECONDS, ...} or null";
    case Parameter::categories:
      return "an array of categories or null";
    case Parameter::object:
      return "a host object's class name or null";
    case Parameter::campaign:
      return "a stored campaign's id, a campaign as the server sends it, or null";
    case Parameter::campaigns:
      return "an array of campaigns or null";
    case Parameter::application:
      return "\"application\" or null";
    case Parameter::center:
      return "\"center\" or null";
    case Parameter::response:
      return "{\"payload\": {...}, \"action\": TEXT} or null";
    case Parameter::notification:
      return "{\"payload\": {...}} or null";
    case Parameter::token:
      return "{\"$data\": \"HEX\"} or null";
    case Parameter::completion:
      return "\"completion\" or null";
    case Parameter::nothing:
      return "null";
  }
  return "";
}

/// The piece of the selector that stands before that argument.
std::string pieceOf(const std::string& selector, std::size_t index) {
  std::size_t start = 0;
  for (; index > 0; --index) start = selector.find(':', start) + 1;
  return selector.substr(start, selector.find(':', start) - start);
}

}  // namespace

Arguments::Arguments(const std::string& selector, const std::vector<Parameter>& parameters, const Value& list,
                     Session& session)
    : values_(list.elements().begin(), list.elements().end()), session_(session) {
  if (values_.size() > parameters.size()) {
    throw UsageError("\"" + selector + "\" takes " + std::to_string(parameters.size()) +
                     (parameters.size() == 1 ? " argument, not " : " arguments, not ") +
                     std::to_string(values_.size()));
  }
  values_.resize(parameters.size(), Value::null());
  for (std::size_t index = 0; index < values_.size(); ++index) {
    if (fits(parameters[index], values_[index])) continue;
    throw UsageError("argument " + std::to_string(index + 1) + " (" + pieceOf(selector, index) + ") of \"" + selector +
                     "\" must be " + expected(parameters[index]) + ", not " + shown(values_[index]));
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

}  // namespace zinsim
