#include "ZintarCore/ZNCoreUtils.h"

#include <algorithm>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZintarCore/ZNConfigDataManager.h"

const char* const kUserDefaultsKeyAppVersion = "kUserDefaultsKeyAppVersion";
const char* const kNotificationNameUpdateModules = "kNotificationNameUpdateModules";
const char* const kNotificationNameUserReset = "kNotificationNameUserReset";
const char* const kNotificationNamePushConsentChanged = "kNotificationNamePushConsentChanged";
const char* const kNotificationNameShowInApp = "kNotificationNameShowInApp";

namespace {

constexpr const char* kDeviceTokenKey = "kUserDefaultsKeyDeviceToken";

void openLink(zn::LinkKind kind, const std::optional<NSURL>& url) {
  if (url) zn::Device::current().screen->openLink(kind, url->absoluteString());
}

bool fitsJson(const zn::Value& value) {
  if (value.isDate() || value.isData()) return false;
  return std::all_of(value.elements().begin(), value.elements().end(), fitsJson) &&
         std::all_of(value.entries().begin(), value.entries().end(),
                     [](const zn::Value::Entry& entry) { return fitsJson(entry.value); });
}

}  // namespace

zn::Value ZNCoreUtils::getJSONStringFromDictionary(const zn::Value& dictionary) {
  return dictionary.isContainer() && fitsJson(dictionary) ? zn::Value(zn::jsonText(dictionary)) : zn::nil;
}

bool ZNCoreUtils::isSDKEnabled() { return ZNConfigDataManager::sharedInstance()->isSDKEnabled(); }

bool ZNCoreUtils::isAppDelegateProxyEnabled() {
  return ZNConfigDataManager::sharedInstance()->isAppDelegateProxyEnabled();
}

std::string ZNCoreUtils::appVersion() { return ZNConfigDataManager::sharedInstance()->appVersion(); }

std::string ZNCoreUtils::getSDKLibraryDirectoryPath() { return zn::Device::current().directories->library(); }

std::string ZNCoreUtils::getDocumentsDirectoryPath() { return zn::Device::current().directories->documents(); }

std::shared_ptr<NSUserDefaults> ZNCoreUtils::getSDKUserDefault() { return NSUserDefaults::initWithSuiteName("sdk"); }

void ZNCoreUtils::openDeeplink(const std::optional<NSURL>& url) { openLink(zn::LinkKind::deeplink, url); }
void ZNCoreUtils::openRichLandingLink(const std::optional<NSURL>& url) { openLink(zn::LinkKind::landing, url); }

std::shared_ptr<UIViewController> ZNCoreUtils::getTopMostViewController() {
  return zn::Device::current().screen->topMostViewController();
}

std::string ZNCoreUtils::hexTokenForData(const zn::Data& token) { return zn::hexText(token); }
zn::Value ZNCoreUtils::getDeviceToken() { return getSDKUserDefault()->objectForKey(kDeviceTokenKey); }
void ZNCoreUtils::saveDeviceToken(const zn::Value& token) { getSDKUserDefault()->setObject(token, kDeviceTokenKey); }
