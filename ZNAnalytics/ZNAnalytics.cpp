#include "ZNAnalytics/ZNAnalytics.h"

#include <utility>

#include "ZNAnalytics/EventID_p.h"
#include "ZNAnalytics/EventQueue_p.h"
#include "ZNAnalytics/EventSender_p.h"
#include "ZNAnalytics/TrackedEvent.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"
#include "ZintarCore/ZNNetworkRequest.h"

const char* const Zintar_Notification_Received_Notification = "Zintar_Notification_Received_Notification";
const char* const Zintar_Notification_Registered_Notification = "Zintar_Notification_Registered_Notification";
const char* const Zintar_Notification_Registration_Failed_Notification =
    "Zintar_Notification_Registration_Failed_Notification";
const char* const Zintar_Device_Token_Key = "Zintar_Device_Token_Key";
const char* const kUserAttributeNameGDPRPushOptOut = "kUserAttributeNameGDPRPushOptOut";

namespace {

constexpr const char* kInstallationKey = "kUserDefaultsKeyInstallation";

/// By which a server knows this installation again when its token is a new one, or its user. Made once; nil where the
/// system has no random numbers.
zn::Value installation() {
  zn::Value kept;
  ZNCoreUtils::getSDKUserDefault()->transaction([&](zn::Value& contents) {
    if (!contents[kInstallationKey].isString()) contents.setObjectNilHandled(zn::newEventID(), kInstallationKey);
    kept = contents[kInstallationKey];
  });
  return kept;
}

std::shared_ptr<NSUserDefaults> userAttributes() { return NSUserDefaults::initWithSuiteName("ZNAnalytics"); }

}  // namespace

ZNEventTriggerDelegate::~ZNEventTriggerDelegate() = default;

namespace zn {
AnalyticsObserver::~AnalyticsObserver() = default;
void AnalyticsObserver::eventTracked(const std::string&, const Value&, bool) {}
void AnalyticsObserver::flushRequested() {}
void AnalyticsObserver::optOutEventsUpdated(const Value&) {}
void AnalyticsObserver::sourcesUpdated(const std::vector<std::shared_ptr<const ZNSource>>&) {}
void AnalyticsObserver::userAttributeSet(const std::string&, const Value&) {}
void AnalyticsObserver::pushTokenUpdated() {}
void AnalyticsObserver::deviceUpdated() {}
void AnalyticsObserver::pushOptOutStatusSet(const std::string&, const Value&) {}
}  // namespace zn

const std::shared_ptr<ZNAnalytics>& ZNAnalytics::sharedInstance() {
  static const zn::NeverDestroyed instance(std::make_shared<ZNAnalytics>());
  return *instance;
}

ZNAnalytics::ZNAnalytics()
    : queue_(std::make_shared<zn::EventQueue>()), sender_(std::make_shared<zn::EventSender>(queue_)) {}
ZNAnalytics::~ZNAnalytics() = default;

std::shared_ptr<zn::AnalyticsObserver> ZNAnalytics::observer() const { return state_.get(&State::observer); }

void ZNAnalytics::setObserver(std::shared_ptr<zn::AnalyticsObserver> observer) {
  state_.set(&State::observer, std::move(observer));
}

void ZNAnalytics::setMessagingTriggerDelegate(const std::shared_ptr<ZNEventTriggerDelegate>& delegate) {
  state_.set(&State::triggerDelegate, delegate);
}

void ZNAnalytics::updateOptOutEvents(const zn::Value& names) {
  if (const auto watching = observer()) watching->optOutEventsUpdated(names);
  state_.set(&State::optOutEvents, names);
}

zn::Value ZNAnalytics::optOutEvents() const { return state_.get(&State::optOutEvents); }

zn::Value zn::trackedDictionary(const Value& attributes) {
  return Value::dictionary({{kEventAttributes, Value::dictionary()},
                            {kCustomEventAttributes, attributes.isNil() ? Value::dictionary() : attributes}});
}

/// The id stays with the event: a server knows by it what it gets a second time.
void ZNAnalytics::enqueue(zn::Value event) {
  event.setObjectNilHandled(zn::newEventID(), zn::kQueuedEventID);
  event.setObjectNilHandled(zn::secondsSince1970(), "time");
  queue_->append(event);
}

void ZNAnalytics::trackEvent(const std::string& name, const std::shared_ptr<ZNProperties>& properties) {
  const zn::Value attributes = properties ? properties->attributes() : zn::Value::dictionary();
  const bool interactive = !properties || properties->isInteractive();
  if (const auto watching = observer()) watching->eventTracked(name, attributes, interactive);
  enqueue(
      zn::Value::dictionary({{zn::kQueuedEventName, name}, {"attributes", attributes}, {"interactive", interactive}}));
  const auto delegate = state_.read([](const State& state) { return state.triggerDelegate.lock(); });
  if (delegate) delegate->eventTrackedWithName(name, zn::trackedDictionary(attributes));
}

void ZNAnalytics::updateSourcesForCurrentSession(const std::vector<std::shared_ptr<const ZNSource>>& sources) {
  if (const auto watching = observer()) watching->sourcesUpdated(sources);
  state_.set(&State::sources, sources);
}

std::vector<std::shared_ptr<const ZNSource>> ZNAnalytics::sourcesOfCurrentSession() const {
  return state_.get(&State::sources);
}

void ZNAnalytics::setUserAttribute(const zn::Value& value, const std::string& key) {
  if (const auto watching = observer()) watching->userAttributeSet(key, value);
  userAttributes()->setObject(value, key);
}

zn::Value ZNAnalytics::userAttributeForKey(const std::string& key) const { return userAttributes()->objectForKey(key); }

void ZNAnalytics::pushTokenUpdated() {
  if (const auto watching = observer()) watching->pushTokenUpdated();
  sendDeviceRecord(nullptr);
}

void ZNAnalytics::updateDeviceWithCompletion(std::function<void(bool sent)> completion) {
  if (const auto watching = observer()) watching->deviceUpdated();
  sendDeviceRecord(std::move(completion));
}

void ZNAnalytics::setPushGDPROptOutStatus(const zn::Value& status, const std::string& key) {
  if (const auto watching = observer()) watching->pushOptOutStatusSet(key, status);
  userAttributes()->setObject(status, key);
}

void ZNAnalytics::sendDeviceRecord(std::function<void(bool sent)> completion) {
  zn::Value attributes;
  userAttributes()->transaction([&](zn::Value& contents) { attributes = contents; });
  const auto device = zn::Value::dictionary(
      {{"attributes", attributes}, {"installation", installation()}, {"pushToken", ZNCoreUtils::getDeviceToken()}});
  enqueue(zn::Value::dictionary({{"device", device}}));
  sendQueue(std::move(completion));
}

void ZNAnalytics::flushWithCompletionBlock(std::function<void(bool sent)> completion) {
  if (const auto watching = observer()) watching->flushRequested();
  sendQueue(std::move(completion));
}

void ZNAnalytics::sendQueue(std::function<void(bool sent)> completion) {
  const auto service = std::to_string(static_cast<int>(ZNService::events));
  if (ZNConfigDataManager::sharedInstance()->endpointForService(service).isNil()) {
    // Without a service for events they stay queued; a simulated device thus shows no request of its own making.
    if (completion) zn::dispatchAsync(zn::Queue::global, [completion = std::move(completion)] { completion(false); });
    return;
  }
  sender_->flush(std::move(completion));
}
