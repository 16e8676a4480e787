#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/TriggerRules.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDTPostInfo.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggers.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNPlatform/UserNotifications/UNNotification.h"

/// The engine of device triggers: campaigns kept on the device show a local notification when the user does something.
/// It fetches campaigns from the server, decides for every tracked event whether one fires, asks the server whether the
/// user is in the campaign's segment (or goes the offline way where the campaign allows it), and posts.
///
/// Every refusal is one log line ending in 🛑 that names its rule; `explainEvent` tells the same ahead of time.
///
/// Ownership: one instance a process (sharedInstance), never destroyed. Thread: any. An event's evaluation hops to the
/// main queue and then to the global queue; two events may be evaluated at once. No operation throws: a failure is
/// logged and ends that evaluation. For a null campaign or payload nothing happens. Times and delays are milliseconds
/// unless a name says seconds.
///
/// An event, and the campaign that it picked, belong to the user who was there when it was tracked, or when a later
/// step was called by itself. After a user reset or an opt-out of push nothing is asked or posted for it any more, nor
/// is it counted.
///
/// Showing a campaign tracks events, which may fire campaigns too: never the one that was shown, and a chain of
/// campaigns that set off one another ends after three, with one log line.
class ZN_EXPORT ZNDeviceTriggersHandler : public std::enable_shared_from_this<ZNDeviceTriggersHandler> {
 public:
  static const std::shared_ptr<ZNDeviceTriggersHandler>& sharedInstance();

  // Synchronisation.

  /// `isRealTimeTriggerEnabled`: the library and real-time triggers are switched on and the application has an id. The
  /// lack of an id is logged.
  bool isRealTimeTriggerEnabled() const;
  /// `shouldFetch`: a synchronisation is due: none was answered in this process, or the interval has passed.
  bool shouldFetch() const;
  zn::Value getExistingCampaignList() const;  ///< `getExistingCampaignList`: ids of the active stored campaigns
  /// `getDeviceTriggerSyncRequestPayload`: the request's body, or nil without query parameters.
  zn::Value getDeviceTriggerSyncRequestPayload() const;
  /// `syncDeviceTriggersWithCompletionBlock:`: asks the server for what changed and stores the answer. The completion,
  /// if given, is called once, on the network's queue, with whether an answer came; without query parameters nothing is
  /// asked and it is never called (hosts rely on a refused start being silent). An answer to a request from before a
  /// user reset or an opt-out of push counts as none.
  void syncDeviceTriggersWithCompletionBlock(std::function<void(bool success)> completion);
  /// `clearDeviceTriggersData`: an empty store, saved; the next synchronisation asks for everything.
  void clearDeviceTriggersData();
  /// What a user reset and an opt-out of push do: clears the data, makes what is under way void, and takes back the
  /// notifications that still wait for their delay.
  void stop();
  /// `lastUpdatedTime`: when the last request of this process was answered, in seconds since 1970; 0: none was.
  std::int64_t lastUpdatedTime() const { return lastUpdatedTime_; }
  void setLastUpdatedTime(std::int64_t seconds) { lastUpdatedTime_ = seconds; }

  // Evaluation.

  /// `checkDeviceTriggerForEvent:withEventAttributes:`: the start, on the tracking thread. For an event that no
  /// campaign waits for it allocates nothing. `attributes` is the tracked dictionary with "EVENT_ATTRS" and
  /// "EVENT_ATTRS_CUST".
  void checkDeviceTriggerForEvent(const zn::Value& name, const zn::Value& attributes);
  /// `startBGTaskForEvent:withEventDict:`: hops to the background, under a background task when the application is
  /// there.
  void startBGTaskForEvent(const zn::Value& name, const zn::Value& attributes);
  /// `checkPreconditionsForDeviceTriggerWithEvent:withEventAttributes:`: the rules; the first campaign that passes goes
  /// on.
  void checkPreconditionsForDeviceTriggerWithEvent(const zn::Value& name, const zn::Value& attributes);
  bool checkForGlobalDelay() const;                                          ///< `checkForGlobalDelay`: true: may post
  bool isDateTimeGreaterThanNow(double secondsSince1970) const;              ///< `isDateTimeGreaterThanNow:`
  bool canPostDeviceTrigger(const ZNDeviceTriggerCampaign& campaign) const;  ///< `canPostDeviceTrigger:`
  /// `checkIfDNDForCampaign:`: true: held back for the do-not-disturb window. The server decides about that; here it is
  /// false for every time that can be read.
  bool checkIfDNDForCampaign(const ZNDeviceTriggerCampaign& campaign) const;
  void endBGTask();  ///< `endBGTask`
  UIBackgroundTaskIdentifier dt_BgTask() const { return dt_BgTask_; }

  /// What would happen for that event now, and why: gates, the global delay, and every stored campaign with every rule,
  /// with the numbers compared and the time from which a rule would pass. The gate "event" also says, of campaigns that
  /// wait for the event, which test of the condition fails and with what value, that the condition cannot be understood
  /// or that there is none; and which campaigns the last synchronisation of this process dropped, and why (of those
  /// that waited for the event, or for one that is not known). No effect, no log line. The completion is called once,
  /// on the queue on which the device tells what the user allows, with
  /// {"gates": [{"gate", "passes", "because"}], "globalDelay": {"passes", "because", "passesAt"}, "campaigns":
  /// [{"campaign", "matches", "fires", "rules": [{"rule", "passes", "because", "passesAt"}]}]}; passesAt in seconds
  /// since 1970, or null.
  void explainEvent(const zn::Value& name, const zn::Value& attributes,
                    std::function<void(const zn::Value& explanation)> completion) const;

  // Segment check and posting.

  /// `checkUserInSegmentForDTCampaign:withEventDict:`
  void checkUserInSegmentForDTCampaign(const std::shared_ptr<ZNDeviceTriggerCampaign>& campaign,
                                       const zn::Value& eventDict);
  /// `getUserInSegmentPayloadWithCampaignID:andEventDict:`
  zn::Value getUserInSegmentPayloadWithCampaignID(const zn::Value& campaignID, const zn::Value& eventDict) const;
  /// `postDeviceTriggerCampaign:isOffline:`
  void postDeviceTriggerCampaign(const std::shared_ptr<ZNDeviceTriggerCampaign>& campaign, bool isOffline);
  /// `getPayloadToShow:forOffline:`: the server's fresh contents, or offline the stored ones; null when empty.
  std::shared_ptr<ZNDeviceTriggerPayload> getPayloadToShow(const ZNDeviceTriggerCampaign& campaign,
                                                           bool isOffline) const;
  /// `processDeviceTriggerWithInfo:`: prepares the notification, to appear after the campaign's delay, and posts it.
  /// For a record without a campaign or contents nothing happens, here and below.
  void processDeviceTriggerWithInfo(const std::shared_ptr<ZNDTPostInfo>& info);
  /// `getRequestForPayload:withAttachments:andTimeTrigger:`: texts that are no strings are left out; of a sound that is
  /// a dictionary (a critical alert's) the name counts. One without an identifier after a failure.
  UNNotificationRequest getRequestForPayload(const ZNDeviceTriggerPayload& payload,
                                             const std::optional<std::vector<std::string>>& attachments,
                                             const std::optional<UNTimeIntervalNotificationTrigger>& trigger) const;
  /// `postDeviceTriggerWithRequest:andInfo:`
  void postDeviceTriggerWithRequest(const UNNotificationRequest& request, const std::shared_ptr<ZNDTPostInfo>& info);

 private:
  static UNNotificationRequest requestFor(const ZNDeviceTriggerPayload& payload,
                                          const std::optional<std::vector<std::string>>& attachments,
                                          const std::optional<UNTimeIntervalNotificationTrigger>& trigger);
  void storeServerAnswer(const std::shared_ptr<ZNDeviceTriggers>& container, const zn::Value& response);
  void handleSegmentAnswer(const std::shared_ptr<ZNDeviceTriggerCampaign>& campaign, const zn::Value& response);
  static void withdrawWaitingNotifications();
  void postOffline(const std::shared_ptr<ZNDeviceTriggerCampaign>& campaign);
  struct Posting;
  static std::optional<Posting> postingOf(const std::shared_ptr<ZNDTPostInfo>& info);
  void didAddRequest(const std::string& identifier, const Posting& posting, const std::optional<std::string>& error);

  std::atomic<std::int64_t> lastUpdatedTime_{0};
  std::atomic<UIBackgroundTaskIdentifier> dt_BgTask_{UIBackgroundTaskInvalid};
};
