#pragma once

#include <memory>

#include "ZNMessaging/ZNInbox/ZNInboxUI/ZNInboxViewController.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/NSBundle.h"

namespace zn {

/// A new inbox screen as the bundle's storyboard describes it. Throws Exception when that is missing or broken.
ZN_EXPORT std::shared_ptr<ZNInboxViewController> newInboxScreen(const NSBundle& bundle);

}  // namespace zn
