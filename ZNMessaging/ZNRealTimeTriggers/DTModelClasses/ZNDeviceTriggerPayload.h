#pragma once

#include <memory>

#include "Platform/Export.h"
#include "ZintarCore/ZNModelObject.h"

/// What a device-trigger notification shows. Fields hold whatever the dictionary has there, unchecked, nil where it has
/// nothing. Thread: any; immutable once made.
class ZN_EXPORT ZNDeviceTriggerPayload : public ZNModelObject {
 public:
  /// `initWithDictionary:`: from a dictionary shaped like a push payload.
  static std::shared_ptr<const ZNDeviceTriggerPayload> initWithDictionary(const zn::Value& dictionary);
  /// `initWithCoder:`
  static std::shared_ptr<ZNDeviceTriggerPayload> initWithCoder(zn::NSKeyedUnarchiver& coder);

  const zn::Value& campaignID() const { return campaignID_; }
  const zn::Value& alertTitle() const { return alertTitle_; }
  const zn::Value& alertSubTitle() const { return alertSubTitle_; }
  const zn::Value& alertBody() const { return alertBody_; }
  const zn::Value& alertSound() const { return alertSound_; }
  const zn::Value& attachmentURL() const { return attachmentURL_; }
  const zn::Value& category() const { return category_; }
  const zn::Value& pushDict() const { return pushDict_; }  ///< the whole dictionary: the notification's user info

  const char* archivedClassName() const override { return "ZNDeviceTriggerPayload"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;

 private:
  zn::Value campaignID_;
  zn::Value alertTitle_;
  zn::Value alertSubTitle_;
  zn::Value alertBody_;
  zn::Value alertSound_;
  zn::Value attachmentURL_;
  zn::Value category_;
  zn::Value pushDict_;
};
