#pragma once

#include <cstdint>
#include <memory>

#include "ZNPlatform/Export.h"
#include "ZintarCore/GuardedFields.h"
#include "ZintarCore/ZNModelObject.h"

/// What a device-trigger notification shows. Fields hold whatever the dictionary has there, unchecked, nil where it has
/// nothing. Thread: any; every property is guarded.
class ZN_EXPORT ZNDeviceTriggerPayload : public ZNModelObject {
 public:
  /// `initWithDictionary:`: from a dictionary shaped like a push payload.
  static std::shared_ptr<ZNDeviceTriggerPayload> initWithDictionary(const zn::Value& dictionary);
  /// `initWithCoder:`
  static std::shared_ptr<ZNDeviceTriggerPayload> initWithCoder(zn::NSKeyedUnarchiver& coder);

  ZN_PROPERTY(zn::Value, campaignID, setCampaignID)
  ZN_PROPERTY(zn::Value, alertTitle, setAlertTitle)
  ZN_PROPERTY(zn::Value, alertSubTitle, setAlertSubTitle)
  ZN_PROPERTY(zn::Value, alertBody, setAlertBody)
  ZN_PROPERTY(zn::Value, alertSound, setAlertSound)
  ZN_PROPERTY(zn::Value, attachmentURL, setAttachmentURL)
  ZN_PROPERTY(zn::Value, category, setCategory)
  ZN_PROPERTY(zn::Value, pushDict, setPushDict)  ///< all of it: the notification's user info

  /// Whether `initWithDictionary` would make of it a payload that archives as this one does.
  bool isAsSent(const zn::Value& dictionary) const;

  const char* archivedClassName() const override { return "ZNDeviceTriggerPayload"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;
  std::uint64_t revision() const override { return fields_.revision(); }

 private:
  struct Archived;
  struct Fields {
    zn::Value campaignID;
    zn::Value alertTitle;
    zn::Value alertSubTitle;
    zn::Value alertBody;
    zn::Value alertSound;
    zn::Value attachmentURL;
    zn::Value category;
    zn::Value pushDict;
  };
  static Fields fieldsOf(const zn::Value& dictionary);

  zn::RevisedFields<Fields> fields_;
};
