#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/NSURL.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZNPlatform/UIKit/UIViewController.h"

/// Small services of the core for the other modules. Thread: any.
class ZN_EXPORT ZNCoreUtils {
 public:
  static bool isSDKEnabled();               ///< the library is not switched off
  static bool isAppDelegateProxyEnabled();  ///< the host left the delegate proxy switched on
  static std::string appVersion();
  static std::string getSDKLibraryDirectoryPath();
  static std::string getDocumentsDirectoryPath();
  /// The library's own user-defaults store ("sdk"), apart from the host's.
  static std::shared_ptr<NSUserDefaults> getSDKUserDefault();
  /// `getJSONStringFromDictionary:`: JSON without blanks; nil for what JSON cannot hold: a date or data anywhere
  /// inside, and anything but a container.
  static zn::Value getJSONStringFromDictionary(const zn::Value& dictionary);

  /// `openDeeplink:`, `openRichLandingLink:`: hand a link to the device's screen; nothing for none, which is what
  /// URLWithString gives for a malformed text. On the main thread.
  static void openDeeplink(const std::optional<NSURL>& url);
  static void openRichLandingLink(const std::optional<NSURL>& url);
  /// `getTopMostViewController`: the controller on top of the device's screen, or null.
  static std::shared_ptr<UIViewController> getTopMostViewController();

  /// `hexTokenForData:`: two lower-case digits a byte, without separators.
  static std::string hexTokenForData(const zn::Data& token);
  /// `getDeviceToken`: the last token kept by `saveDeviceToken:`, or nil. Kept in the library's own user defaults.
  static zn::Value getDeviceToken();
  static void saveDeviceToken(const zn::Value& token);  ///< `saveDeviceToken:`; nil forgets it
};

/// Key in the library's own user defaults: the application's version that what is kept there belongs to.
ZN_EXPORT extern const char* const kUserDefaultsKeyAppVersion;

/// Posted on the default notification centre by the core: the configuration changed while the modules run, so they
/// bring themselves up to date (ZNConfigDataManager); the user left, so nothing of this one may stay (zn::UserSession);
/// the user opted out of push, or in again (ZNConfigDataManager).
ZN_EXPORT extern const char* const kNotificationNameUpdateModules;
ZN_EXPORT extern const char* const kNotificationNameUserReset;
ZN_EXPORT extern const char* const kNotificationNamePushConsentChanged;
/// Posted on the default notification centre by the messaging module: a push asks for an in-app message. userInfo: what
/// the push says about it, or {"cid": its campaign, "isTest": 1}.
ZN_EXPORT extern const char* const kNotificationNameShowInApp;
