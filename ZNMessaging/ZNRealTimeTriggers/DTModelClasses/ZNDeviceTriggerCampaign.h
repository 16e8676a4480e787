#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "ZNAnalytics/ZNEventCondition.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggerPayload.h"
#include "ZNPlatform/Export.h"
#include "ZintarCore/GuardedFields.h"
#include "ZintarCore/ZNModelObject.h"

/// One campaign that the server sent: what event it waits for, what it shows, and the limits that it is shown under.
/// Fields hold whatever the server sent, unchecked, nil where it sent nothing. Times and delays are milliseconds,
/// absolute ones since 1970.
///
/// Thread: any; every property is guarded. The store and those who asked it share campaigns, so a change reaches all of
/// them; it is kept on disk by the store's next save.
class ZN_EXPORT ZNDeviceTriggerCampaign : public ZNModelObject {
 public:
  /// Status of a campaign that may fire.
  static constexpr const char* kActive = "active";
  /// `maxTimes` of a campaign that may be shown any number of times.
  static constexpr std::int64_t kUnlimited = -9090909;

  /// `initWithDictionary:`: from the server's dictionary. A payload, a condition or a switch of the wrong kind is a
  /// failure; it is logged with the campaign's id, and what was filled in so far stays.
  static std::shared_ptr<ZNDeviceTriggerCampaign> initWithDictionary(const zn::Value& dictionary);
  /// The same where the campaign is known already, or null: answers `known` itself if a new one would be archived alike
  /// and `known` holds no fresh contents; its condition's problem is then told once more, as a new one's is. A new one
  /// takes over the payload of `known` if that would be archived alike.
  static std::shared_ptr<ZNDeviceTriggerCampaign> initWithDictionary(
      const zn::Value& dictionary, const std::shared_ptr<ZNDeviceTriggerCampaign>& known);
  /// `initWithCoder:`
  static std::shared_ptr<ZNDeviceTriggerCampaign> initWithCoder(zn::NSKeyedUnarchiver& coder);

  /// `getDeviceTriggerType:`: 1 for "test" exactly, 0 for anything else.
  static int getDeviceTriggerType(const zn::Value& type);

  /// `updateNotificationPayload:`: keeps fresh contents from the server; an empty dictionary or nil changes nothing.
  void updateNotificationPayload(const zn::Value& dictionary);

  /// `checkIfAttributeConditionSatisfiedForEvent:andAttributes:`: false, with a log line, for a campaign that is not
  /// active. A condition that cannot be understood is never satisfied; the log says why, once a campaign.
  bool checkIfAttributeConditionSatisfiedForEvent(const zn::Value& event, const zn::Value& attributes) const;
  /// Whether the event and its attributes satisfy the condition, whatever the status. The event must be the trigger
  /// event: what the condition says about the event's name does not count, and without a trigger event nothing matches.
  bool matches(const zn::Value& event, const zn::Value& attributes) const;
  /// Why the condition cannot be understood; empty for one that can.
  std::string conditionProblem() const { return condition()->problem(); }
  /// What people want to know of the condition where the trigger event comes with these attributes: that it cannot be
  /// understood, that there is none, or which of its tests fail; empty for one that is satisfied.
  std::string conditionRemark(const zn::Value& attributes) const;

  ZN_PROPERTY(zn::Value, campaignID, setCampaignID)
  ZN_PROPERTY(std::shared_ptr<ZNDeviceTriggerPayload>, payload, setPayload)  ///< null without one
  /// What the segment check gave; null without; never archived.
  std::shared_ptr<ZNDeviceTriggerPayload> updated_payload() const { return fields_.get(&Fields::updated_payload); }
  void setUpdated_payload(std::shared_ptr<ZNDeviceTriggerPayload> payload);
  zn::Value triggerEvent() const { return fields_.get(&Fields::triggerEvent); }
  void setTriggerEvent(const zn::Value& value);
  zn::Value attrConditions() const { return fields_.get(&Fields::attrConditions); }
  void setAttrConditions(const zn::Value& value);
  ZN_PROPERTY(std::int32_t, campaignType, setCampaignType)  ///< 1: test
  ZN_PROPERTY(zn::Value, status, setStatus)
  ZN_PROPERTY(zn::Value, expiry, setExpiry)
  ZN_PROPERTY(zn::Value, maxTimes, setMaxTimes)
  ZN_PROPERTY(zn::Value, priority, setPriority)
  ZN_PROPERTY(zn::Value, triggerDelay, setTriggerDelay)
  ZN_PROPERTY(zn::Value, maxSyncDelay, setMaxSyncDelay)
  ZN_PROPERTY(zn::Value, campaignDelay, setCampaignDelay)
  ZN_PROPERTY(zn::Value, lastUpdatedTime, setLastUpdatedTime)
  ZN_PROPERTY(bool, shouldSupportOffline, setShouldSupportOffline)
  ZN_PROPERTY(bool, shouldIgnoreDND, setShouldIgnoreDND)
  bool isActive() const { return status() == kActiveValue(); }
  /// What `initWithDictionary` could not read, and left out with all that comes after it; empty where it read all.
  std::string malformation() const { return fields_.get(&Fields::malformation); }
  /// The server's dictionary that it was made of, if that is known; never archived.
  zn::Value sentDictionary() const { return fields_.get(&Fields::sent); }

  const char* archivedClassName() const override { return "ZNDeviceTriggerCampaign"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;
  std::uint64_t revision() const override;  ///< its payload's, too

 private:
  struct Archived;
  struct Fields {
    zn::Value campaignID;
    std::shared_ptr<ZNDeviceTriggerPayload> payload;
    std::uint64_t payloadRevision = 0;  // that `revision` counts already
    std::shared_ptr<ZNDeviceTriggerPayload> updated_payload;
    zn::Value triggerEvent;
    zn::Value attrConditions;
    std::int32_t campaignType = 0;
    zn::Value status;
    zn::Value expiry;
    zn::Value maxTimes;
    zn::Value priority;
    zn::Value triggerDelay;
    zn::Value maxSyncDelay;
    zn::Value campaignDelay;
    zn::Value lastUpdatedTime;
    bool shouldSupportOffline = false;
    bool shouldIgnoreDND = false;
    std::string malformation;                           // never archived
    std::shared_ptr<const ZNEventCondition> condition;  // on the first check: most campaigns are never checked
    zn::Value sent;                                     // what the server sent, and the state that it was made into
    std::uint64_t sentRevision = 0;
  };
  friend class ZNDeviceTriggers;
  /// How often a trigger event of any campaign was set after it was made: who keeps campaigns in the order of their
  /// events orders them anew when the count has moved.
  static std::uint64_t triggerEventChanges();
  static const zn::Value& kActiveValue();
  static void fill(Fields& fields, const zn::Value& dictionary, const std::shared_ptr<ZNDeviceTriggerPayload>& known);
  bool isAsSent(const Fields& sent) const;
  bool isStillMadeOf(const zn::Value& dictionary) const;
  void remember(const zn::Value& dictionary, std::uint64_t revision);
  std::shared_ptr<const ZNEventCondition> condition() const;

  mutable zn::RevisedFields<Fields> fields_;
  mutable std::atomic<bool> problemLogged_{false};
};
