#include "ZNAnalytics/ZNAnalytics.h"

#include <utility>

#include "Platform/Foundation/Dispatch.h"
#include "ZNAnalytics/EventQueue.h"
#include "ZNAnalytics/TrackedEvent.h"
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
  static const auto& instance = *new std::shared_ptr<ZNAnalytics>(std::make_shared<ZNAnalytics>());
  return instance;
}

ZNAnalytics::ZNAnalytics() : queue_(std::make_shared<zn::EventQueue>()) {}
ZNAnalytics::~ZNAnalytics() = default;

std::shared_ptr<zn::AnalyticsObserver> ZNAnalytics::observer() const {
  zn::Lock lock(mutex_);
  return observer_;
}

void ZNAnalytics::setObserver(std::shared_ptr<zn::AnalyticsObserver> observer) {
  zn::Lock lock(mutex_);
  observer_.swap(observer);
}

void ZNAnalytics::setMessagingTriggerDelegate(const std::shared_ptr<ZNEventTriggerDelegate>& delegate) {
  zn::Lock lock(mutex_);
  triggerDelegate_ = delegate;
}

void ZNAnalytics::updateOptOutEvents(const zn::Value& names) {
  if (const auto watching = observer()) watching->optOutEventsUpdated(names);
  zn::Lock lock(mutex_);
  optOutEvents_ = names;
}

zn::Value ZNAnalytics::optOutEvents() const {
  zn::Lock lock(mutex_);
  return optOutEvents_;
}

zn::Value zn::trackedDictionary(const Value& attributes) {
  return Value::dictionary({{kEventAttributes, Value::dictionary()},
                            {kCustomEventAttributes, attributes.isNil() ? Value::dictionary() : attributes}});
}

void ZNAnalytics::trackEvent(const std::string& name, const std::shared_ptr<ZNProperties>& properties) {
  const zn::Value attributes = properties ? properties->attributes() : zn::Value::dictionary();
  const bool interactive = !properties || properties->isInteractive();
  if (const auto watching = observer()) watching->eventTracked(name, attributes, interactive);
  queue_->append(zn::Value::dictionary(
      {{"name", name}, {"attributes", attributes}, {"interactive", interactive}, {"time", zn::secondsSince1970()}}));
  std::shared_ptr<ZNEventTriggerDelegate> delegate;
  {
    zn::Lock lock(mutex_);
    delegate = triggerDelegate_.lock();
  }
  if (!delegate) return;
  delegate->eventTrackedWithName(name, zn::trackedDictionary(attributes));
}

namespace zn {

/// One flush after another: a second one may not read events that the first is about to remove.
class EventSender : public std::enable_shared_from_this<EventSender> {
 public:
  static const std::shared_ptr<EventSender>& shared() {
    static const auto& instance = *new std::shared_ptr<EventSender>(std::make_shared<EventSender>());
    return instance;
  }

  void start(const std::shared_ptr<EventQueue>& queue, std::function<void(bool)> completion) {
    {
      Lock lock(mutex_);
      waiting_.emplace_back(queue, std::move(completion));
      if (running_) return;
      running_ = true;
    }
    next();
  }

 private:
  using Work = std::pair<std::shared_ptr<EventQueue>, std::function<void(bool)>>;

  void next() {
    dispatchAsync(Queue::global, [self = shared_from_this()] {
      Work work;
      {
        Lock lock(self->mutex_);
        if (self->waiting_.empty()) {
          self->running_ = false;
          return;
        }
        work = std::move(self->waiting_.front());
        self->waiting_.erase(self->waiting_.begin());
      }
      self->send(std::move(work));
    });
  }

  void send(Work work) {
    const auto batch = std::make_shared<EventQueue::Batch>(work.first->read());
    if (batch->events.isEmpty()) return finish(work, true);
    const auto query = ZNNetworkConfiguration::sharedInstance()->getQueryParamsBodyDictForService(ZNService::events);
    Value body = Value::dictionary({{"events", batch->events}});
    body.setObjectNilHandled(query, "query_params");
    ZNNetworkRequest::initWithService(ZNService::events, nil, nil, body, nil)
        ->executeRequestWithCompletionBlock(
            [self = shared_from_this(), work = std::move(work), batch](bool sent, const Value&) {
              if (sent) work.first->remove(*batch);
              self->finish(work, sent);
            });
  }

  void finish(const Work& work, bool sent) {
    next();  // first: the completion is the host's, and may throw
    if (work.second) work.second(sent);
  }

  Mutex mutex_;
  std::vector<Work> waiting_ ZN_GUARDED_BY(mutex_);
  bool running_ ZN_GUARDED_BY(mutex_) = false;
};

}  // namespace zn

void ZNAnalytics::updateSourcesForCurrentSession(const std::vector<std::shared_ptr<const ZNSource>>& sources) {
  if (const auto watching = observer()) watching->sourcesUpdated(sources);
  zn::Lock lock(mutex_);
  sources_ = sources;
}

std::vector<std::shared_ptr<const ZNSource>> ZNAnalytics::sourcesOfCurrentSession() const {
  zn::Lock lock(mutex_);
  return sources_;
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
  zn::Value device = zn::Value::dictionary({{"attributes", attributes}});
  device.setObjectNilHandled(ZNCoreUtils::getDeviceToken(), "pushToken");
  queue_->append(zn::Value::dictionary({{"device", device}, {"time", zn::secondsSince1970()}}));
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
  zn::EventSender::shared()->start(queue_, std::move(completion));
}
