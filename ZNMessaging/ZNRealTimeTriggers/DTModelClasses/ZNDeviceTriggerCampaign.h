#pragma once

#include <atomic>
#include <memory>
#include <mutex>

#include "Platform/Export.h"
#include "Platform/Foundation/Mutex.h"
#include "ZNAnalytics/ZNEventCondition.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerPayload.h"
#include "ZintarCore/ZNModelObject.h"

/// One campaign that the server sent: what event it waits for, what it shows, and the limits that it is shown under.
/// Fields hold whatever the server sent, unchecked, nil where it sent nothing. Times and delays are milliseconds,
/// absolute ones since 1970.
///
/// Thread: any; immutable once made, but for the updated payload, which is guarded.
class ZN_EXPORT ZNDeviceTriggerCampaign : public ZNModelObject {
 public:
  /// Status of a campaign that may fire.
  static constexpr const char* kActive = "active";
  /// `maxTimes` of a campaign that may be shown any number of times.
  static constexpr std::int64_t kUnlimited = -9090909;

  /// `initWithDictionary:`: from the server's dictionary. After a failure, which is logged, what was filled in so far
  /// stays.
  static std::shared_ptr<ZNDeviceTriggerCampaign> initWithDictionary(const zn::Value& dictionary);
  /// `initWithCoder:`
  static std::shared_ptr<ZNDeviceTriggerCampaign> initWithCoder(zn::NSKeyedUnarchiver& coder);

  /// `getDeviceTriggerType:`: 1 for "test" exactly, 0 for anything else.
  static int getDeviceTriggerType(const zn::Value& type);

  /// `updateNotificationPayload:`: keeps fresh contents from the server; an empty dictionary or nil changes nothing.
  void updateNotificationPayload(const zn::Value& dictionary);

  /// `checkIfAttributeConditionSatisfiedForEvent:andAttributes:`: false, with a log line, for a campaign that is not
  /// active. A condition that cannot be understood is never satisfied; the log says why, once a campaign.
  bool checkIfAttributeConditionSatisfiedForEvent(const zn::Value& event, const zn::Value& attributes) const;
  /// Whether the event and its attributes satisfy the condition, whatever the status.
  bool matches(const zn::Value& event, const zn::Value& attributes) const;
  /// Whether the campaign is active and matches; without a log line.
  bool isSatisfiedBy(const zn::Value& event, const zn::Value& attributes) const;
  /// Why the condition cannot be understood; empty for one that can.
  const std::string& conditionProblem() const { return condition().problem(); }

  const zn::Value& campaignID() const { return campaignID_; }
  std::shared_ptr<const ZNDeviceTriggerPayload> payload() const { return payload_; }  ///< null without one
  std::shared_ptr<const ZNDeviceTriggerPayload> updated_payload() const;              ///< never archived
  const zn::Value& triggerEvent() const { return triggerEvent_; }
  const zn::Value& attrConditions() const { return attrConditions_; }
  std::int32_t campaignType() const { return campaignType_; }
  const zn::Value& status() const { return status_; }
  const zn::Value& expiry() const { return expiry_; }
  const zn::Value& maxTimes() const { return maxTimes_; }
  const zn::Value& priority() const { return priority_; }
  const zn::Value& triggerDelay() const { return triggerDelay_; }
  const zn::Value& maxSyncDelay() const { return maxSyncDelay_; }
  const zn::Value& campaignDelay() const { return campaignDelay_; }
  const zn::Value& lastUpdatedTime() const { return lastUpdatedTime_; }
  bool shouldSupportOffline() const { return shouldSupportOffline_; }
  bool shouldIgnoreDND() const { return shouldIgnoreDND_; }
  bool isActive() const { return status_ == kActiveValue(); }

  const char* archivedClassName() const override { return "ZNDeviceTriggerCampaign"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;

 private:
  static const zn::Value& kActiveValue();
  void fill(const zn::Value& dictionary);
  const ZNEventCondition& condition() const;

  zn::Value campaignID_;
  std::shared_ptr<const ZNDeviceTriggerPayload> payload_;
  zn::Value triggerEvent_;
  zn::Value attrConditions_;
  std::int32_t campaignType_ = 0;
  zn::Value status_;
  zn::Value expiry_;
  zn::Value maxTimes_;
  zn::Value priority_;
  zn::Value triggerDelay_;
  zn::Value maxSyncDelay_;
  zn::Value campaignDelay_;
  zn::Value lastUpdatedTime_;
  bool shouldSupportOffline_ = false;
  bool shouldIgnoreDND_ = false;

  mutable std::once_flag conditionMade_;  // on the first check: most campaigns of a start are never checked
  mutable std::shared_ptr<const ZNEventCondition> condition_;
  mutable std::atomic<bool> problemLogged_{false};
  mutable zn::Mutex mutex_;
  std::shared_ptr<const ZNDeviceTriggerPayload> updatedPayload_ ZN_GUARDED_BY(mutex_);
};
