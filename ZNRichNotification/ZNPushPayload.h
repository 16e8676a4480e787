#pragma once

#include <memory>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNRichNotification/ZNRichPush.h"

/// A read-only view of a push payload. Thread: any; immutable once made.
class ZN_EXPORT ZNPushPayload {
 public:
  /// `initWithPushPayload:`; anything but a dictionary counts as an empty payload.
  static std::shared_ptr<ZNPushPayload> initWithPushPayload(const zn::Value& payload) {
    return std::make_shared<ZNPushPayload>(payload);
  }
  explicit ZNPushPayload(zn::Value payload);

  /// The rich template: made from the dictionary at "zinFeatures.richPush", or null.
  std::shared_ptr<const ZNRichPush> richPush() const { return richPush_; }
  /// "zintar.cid" as it stands, or nil.
  zn::Value campaignID() const;
  const zn::Value& pushPayloadDict() const { return payload_; }

 private:
  const zn::Value payload_;
  const std::shared_ptr<const ZNRichPush> richPush_;
};
