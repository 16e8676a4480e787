#pragma once

#include <memory>

#include "ZNMessaging/Utils/GuardedFields.h"
#include "ZNPlatform/Export.h"
#include "ZintarCore/ZNModelObject.h"

/// What a device-trigger notification shows. Fields hold whatever the dictionary has there, unchecked, nil where it has
/// nothing. Thread: any; every property is guarded.
class ZN_EXPORT ZNDeviceTriggerPayload : public ZNModelObject {
 public:
  /// `initWithDictionary:`: from a dictionary shaped like a push payload.
  static std::shared_ptr<ZNDeviceTriggerPayload> initWithDictionary(const zn::Value& dictionary);
  /// `initWithCoder:`
  static std::shared_ptr<ZNDeviceTriggerPayload> initWithCoder(zn::NSKeyedUnarchiver& coder);

  zn::Value campaignID() const { return fields_.get(&Fields::campaignID); }
  void setCampaignID(const zn::Value& campaignID) { fields_.set(&Fields::campaignID, campaignID); }
  zn::Value alertTitle() const { return fields_.get(&Fields::alertTitle); }
  void setAlertTitle(const zn::Value& title) { fields_.set(&Fields::alertTitle, title); }
  zn::Value alertSubTitle() const { return fields_.get(&Fields::alertSubTitle); }
  void setAlertSubTitle(const zn::Value& subTitle) { fields_.set(&Fields::alertSubTitle, subTitle); }
  zn::Value alertBody() const { return fields_.get(&Fields::alertBody); }
  void setAlertBody(const zn::Value& body) { fields_.set(&Fields::alertBody, body); }
  zn::Value alertSound() const { return fields_.get(&Fields::alertSound); }
  void setAlertSound(const zn::Value& sound) { fields_.set(&Fields::alertSound, sound); }
  zn::Value attachmentURL() const { return fields_.get(&Fields::attachmentURL); }
  void setAttachmentURL(const zn::Value& url) { fields_.set(&Fields::attachmentURL, url); }
  zn::Value category() const { return fields_.get(&Fields::category); }
  void setCategory(const zn::Value& category) { fields_.set(&Fields::category, category); }
  zn::Value pushDict() const { return fields_.get(&Fields::pushDict); }  ///< all of it: the notification's user info
  void setPushDict(const zn::Value& dictionary) { fields_.set(&Fields::pushDict, dictionary); }

  const char* archivedClassName() const override { return "ZNDeviceTriggerPayload"; }
  void encodeWithCoder(zn::NSKeyedArchiver& coder) const override;

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
  zn::GuardedFields<Fields> fields_;
};
