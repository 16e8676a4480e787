#pragma once

#include <memory>
#include <string>

#include "ZNMessaging/ZNInbox/ZNInboxStorage/InboxList.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTModelClasses/ZNDeviceTriggers.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/UIKit/UIFont.h"

namespace zinsim {

// How what the module hands out is printed. nil stays nil (it prints as null).

zn::Value printed(const std::shared_ptr<ZNInboxModel>& entry);
zn::Value printed(const zn::InboxListPtr& list);
zn::Value printed(const zn::CampaignList& campaigns);  ///< ids
zn::Value printed(const zn::CampaignListPtr& campaigns);
zn::Value printed(const std::shared_ptr<const ZNDeviceTriggerStatus>& status);
zn::Value printed(const UIFont& font);
inline zn::Value printed(const zn::Value& value) { return value; }
inline zn::Value printed(bool value) { return value; }
inline zn::Value printed(std::size_t value) { return value; }
inline zn::Value printed(const std::string& value) { return value; }

/// Any other object is printed as its class's name.
template <class T>
zn::Value className(const std::shared_ptr<T>& object, const char* name) {
  return object ? zn::Value(name) : zn::nil;
}

}  // namespace zinsim
