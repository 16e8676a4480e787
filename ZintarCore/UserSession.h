#pragma once

#include <cstdint>
#include <string>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// Who uses the application. The host says so whenever it learns it, and may say it again at every start; the user is
/// kept across starts.
///
/// When a user leaves, by logging out or because another one logs in, kNotificationNameUserReset is posted on the
/// default notification centre, on the caller's thread, so that the modules forget what they hold for that user. A
/// module that did not run at that moment, or was killed before it had forgotten, finds out by `resets` when it is made
/// next. Logging in where nobody was logged in resets nothing: what the device received until then is that user's.
///
/// Thread: any; a user's log-in and log-out are the host's to order. Blocks on the disk.
class ZN_EXPORT UserSession {
 public:
  /// `user` is the host's own name for the user; "" logs out.
  static void logIn(const std::string& user);
  static void logOut();
  static Value user();  ///< string; nil while nobody is logged in
  /// Counts the users who left, over all starts. A module keeps the number for which it last forgot everything.
  static std::int64_t resets();
};

}  // namespace zn
