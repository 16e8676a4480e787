#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

/// The values of the user-notification model. All are plain: copy them freely, share them once they are handed over.

/// Action identifiers of a response: the user clicked the notification itself, or dismissed it.
ZN_EXPORT extern const char* const UNNotificationDefaultActionIdentifier;
ZN_EXPORT extern const char* const UNNotificationDismissActionIdentifier;

struct UNNotificationSound {
  bool isDefault = false;
  std::string name;  ///< of a named sound
  static UNNotificationSound defaultSound() { return {true, {}}; }
  static UNNotificationSound soundNamed(std::string name) { return {false, std::move(name)}; }
};

struct UNNotificationContent {
  zn::Value userInfo;  ///< the push payload
  zn::Value title;     ///< string or nil, like the next two
  zn::Value subtitle;
  zn::Value body;
  std::optional<UNNotificationSound> sound;
  zn::Value categoryIdentifier;
  std::vector<std::string> attachments;  ///< paths of media files
};

/// Delivery after that many seconds, once.
struct UNTimeIntervalNotificationTrigger {
  double timeInterval = 0;  ///< seconds, above 0
};

struct UNNotificationRequest {
  std::string identifier;
  UNNotificationContent content;
  std::optional<UNTimeIntervalNotificationTrigger> trigger;  ///< without one: at once
};

struct UNNotification {
  UNNotificationRequest request;
  zn::Date date;
};

struct UNNotificationResponse {
  UNNotification notification;
  std::string actionIdentifier;
};

struct UNNotificationAction {
  zn::Value identifier;  ///< string or nil, like the title
  zn::Value title;
  unsigned options = 0;  ///< 1 authentication required, 2 destructive, 4 foreground
};

struct UNNotificationCategory {
  zn::Value identifier;  ///< string or nil
  std::vector<UNNotificationAction> actions;
  std::vector<std::string> intentIdentifiers;
  unsigned options = 0;  ///< 1: a dismissal is reported to the delegate
};

/// Presentation options of a notification that arrives in the foreground, and options of a permission request.
enum UNOptions : unsigned { UNOptionBadge = 1, UNOptionSound = 2, UNOptionAlert = 4 };

enum class UNNotificationSetting { notDetermined = 0, disabled = 1, enabled = 2 };

struct UNNotificationSettings {
  UNNotificationSetting alertSetting = UNNotificationSetting::notDetermined;
};
