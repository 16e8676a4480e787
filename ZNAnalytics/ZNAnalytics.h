#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ZNAnalytics/ZNProperties.h"
#include "ZNAnalytics/ZNSource.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZintarCore/GuardedFields.h"

/// Told about every tracked event. Implemented by the messaging module for its device triggers.
class ZN_EXPORT ZNEventTriggerDelegate {
 public:
  virtual ~ZNEventTriggerDelegate();
  /// `eventTrackedWithName:andEventAttr:`: on the tracking thread, at once, after the event was queued. The dictionary
  /// is
  /// {"EVENT_ATTRS": the module's own attributes, "EVENT_ATTRS_CUST": the event's attributes}.
  virtual void eventTrackedWithName(const zn::Value& name, const zn::Value& attributes) = 0;
};

namespace zn {

/// Watches what the analytics module is asked to do; for simulators and tests. Called on the caller's thread, before
/// the module acts; must not call the module.
class ZN_EXPORT AnalyticsObserver {
 public:
  virtual ~AnalyticsObserver();
  virtual void eventTracked(const std::string& name, const Value& attributes, bool interactive);
  virtual void flushRequested();
  virtual void optOutEventsUpdated(const Value& names);
  virtual void sourcesUpdated(const std::vector<std::shared_ptr<const ZNSource>>& sources);
  virtual void userAttributeSet(const std::string& key, const Value& value);
  virtual void pushTokenUpdated();
  virtual void deviceUpdated();
  virtual void pushOptOutStatusSet(const std::string& key, const Value& status);
};

class EventQueue;
class EventSender;

}  // namespace zn

/// The analytics module, as far as the messaging module needs it: tracks events into a queue on disk (so that a killed
/// process loses none) and sends them on flush to the service that the configuration names under "server.endpoints",
/// "1".
///
/// Thread: any. Tracking appends one line to a file; it never waits for the network or for the disk's cache.
class ZN_EXPORT ZNAnalytics {
 public:
  static const std::shared_ptr<ZNAnalytics>& sharedInstance();

  /// `trackEvent:withProperties:`: queues the event, then tells the messaging trigger delegate. `properties` may be
  /// null.
  void trackEvent(const std::string& name, const std::shared_ptr<ZNProperties>& properties);

  /// `flushWithCompletionBlock:`: sends the queued events now, in the background, in requests of at most 500 events and
  /// 256 kB (a longer event travels alone). Each has an "id" (a UUID), which it keeps when it is sent again. An answer
  /// removes what was sent; after status 413 fewer are sent at once. An event that the server refuses by itself (any
  /// other 4xx than 401, 403, 408 and 429) is moved to `Events.jsonl.refused` beside the queue, with a diagnostic.
  ///
  /// After any other failure all stays queued. For a while, seconds at first and up to 45 minutes later on, a flush
  /// that is asked for fails at once; then it is sent again. Without one the queue is sent again by itself, after half
  /// an hour to one and a half, and later at most every twelve hours: users ask at different times, devices by
  /// themselves would not. Neither happens before the server's `Retry-After` (status 429 or 503, a day at most) has
  /// passed; a new process knows nothing of it. Flushes that are asked for while one runs are one flush after it. The
  /// completion, if given, is called once: whether nothing of what was queued waits any more.
  void flushWithCompletionBlock(std::function<void(bool sent)> completion);

  /// `updateOptOutEvents:`: names that are tracked even for users who opted out of tracking.
  void updateOptOutEvents(const zn::Value& names);
  zn::Value optOutEvents() const;

  /// `updateSourcesForCurrentSession:`: where the user came from in this session of the application; replaces what was
  /// known before. Valid sources only; the first one is the session's.
  void updateSourcesForCurrentSession(const std::vector<std::shared_ptr<const ZNSource>>& sources);
  std::vector<std::shared_ptr<const ZNSource>> sourcesOfCurrentSession() const;

  /// `setUserAttribute:forKey:`: kept on disk, and sent with the next device record. nil removes it.
  void setUserAttribute(const zn::Value& value, const std::string& key);
  zn::Value userAttributeForKey(const std::string& key) const;  ///< nil when it was never set

  /// `pushTokenUpdated`: sends the device record with the token that the core keeps.
  void pushTokenUpdated();
  /// `updateDeviceWithCompletion:`: sends the device record as an event: "pushToken", where there is one, the user's
  /// "attributes", and "installation", an id (a UUID) that stays as long as the application's data. The completion, if
  /// given, is called once: whether it was sent.
  void updateDeviceWithCompletion(std::function<void(bool sent)> completion);
  /// `setPushGDPROptOutStatus:forKey:`: a user attribute that stands for the user's consent.
  void setPushGDPROptOutStatus(const zn::Value& status, const std::string& key);

  /// `setMessagingTriggerDelegate:`; held weakly.
  void setMessagingTriggerDelegate(const std::shared_ptr<ZNEventTriggerDelegate>& delegate);

  void setObserver(std::shared_ptr<zn::AnalyticsObserver> observer);  ///< none removes it

  ZNAnalytics();
  ~ZNAnalytics();

 private:
  struct State {
    std::shared_ptr<zn::AnalyticsObserver> observer;
    std::weak_ptr<ZNEventTriggerDelegate> triggerDelegate;
    zn::Value optOutEvents;
    std::vector<std::shared_ptr<const ZNSource>> sources;
  };
  std::shared_ptr<zn::AnalyticsObserver> observer() const;
  void sendDeviceRecord(std::function<void(bool sent)> completion);
  void sendQueue(std::function<void(bool sent)> completion);
  void enqueue(zn::Value event);

  const std::shared_ptr<zn::EventQueue> queue_;
  const std::shared_ptr<zn::EventSender> sender_;
  zn::GuardedFields<State> state_;
};

// Names that the library family shares with the host.

/// Broadcast when a push arrives in the application, and again when the user clicks its notification or a button of it;
/// not on a dismissal, and not while the account is inactive or the SDK switched off. Pushes of other senders count,
/// too. userInfo: the push payload. Thread: the one that hands the push in.
ZN_EXPORT extern const char* const Zintar_Notification_Received_Notification;
/// Broadcast when a device token arrived. userInfo: {Zintar_Device_Token_Key: token string}.
ZN_EXPORT extern const char* const Zintar_Notification_Registered_Notification;
/// Broadcast when the registration for remote notifications failed. No userInfo.
ZN_EXPORT extern const char* const Zintar_Notification_Registration_Failed_Notification;
ZN_EXPORT extern const char* const Zintar_Device_Token_Key;
/// User attribute: the user opted out of push notifications.
ZN_EXPORT extern const char* const kUserAttributeNameGDPRPushOptOut;
