#pragma once

/// All that an ordinary host needs: the module, its inbox and device triggers, what the host tells it (configuration,
/// user, events) and hears from it (broadcasts, observers, the log), and the headless device.
///
/// What only some hosts need has headers of its own: the inbox screen (ZNMessaging/ZNInbox/ZNInboxUI), the desktop
/// (ZNDevices/Freedesktop, ZNDevices/Qt), the simulated device (ZNDevices/Simulator), a device of the host's own
/// (ZNPlatform/RealClock.h, HomeDirectories.h, PooledQueues.h).

#include "ZNPlatform/Export.h"  // first: it says what a program needs

#include "ZNAnalytics/ZNAnalytics.h"
#include "ZNAnalytics/ZNProperties.h"
#include "ZNMessaging/Constants/ZNInboxExposedConstants.h"
#include "ZNMessaging/Constants/ZNMessagingConstants.h"
#include "ZNMessaging/NotificationHandler/CategorySet.h"
#include "ZNMessaging/NotificationHandler/ZNMessagingDelegate.h"
#include "ZNMessaging/ZNInbox/InboxObserver.h"
#include "ZNMessaging/ZNInbox/ZNInbox.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNMessaging.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTHandler/ZNDeviceTriggersHandler.h"
#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/Foundation/Storage.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/HeadlessDevice.h"
#include "ZNPlatform/NotificationRecorder.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZintarCore/UserSession.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNLogger.h"
