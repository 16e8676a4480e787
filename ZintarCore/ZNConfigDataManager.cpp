#include "ZintarCore/ZNConfigDataManager.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/File.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/NSNotificationCenter.h"
#include "ZNPlatform/Foundation/NSURL.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Foundation/TextEncoding.h"
#include "ZintarCore/ZNCoreUtils.h"

/// What a configuration says.
struct ZNConfigDataManager::Settings {
  bool accountActive = false;
  bool sdkEnabled = true;
  bool inboxServiceActive = false;
  bool realTimeTriggersEnabled = false;
  bool appDelegateProxyEnabled = false;
  zn::Value appID;
  zn::Value appGroupID;
  std::string appVersion = "1.0";
  std::int64_t inboxDefaultExpiry = 0;
  std::int64_t realTimeTriggerSyncInterval = 3600;
  zn::Value queryParams;
  zn::Value serverAddress;
  bool serverAllowsPlainHttp = false;
  zn::Value endpoints;
  std::optional<double> serverConnectTimeout;
  std::optional<double> serverTimeout;
  std::optional<std::int64_t> serverMaximumResponseBytes;

  bool operator==(const Settings&) const = default;
  void apply(std::string_view key, const zn::Value& value);

 private:
  void applyServer(const zn::Value& value);
  void applyToServer(std::string_view key, const zn::Value& value);
};

namespace {

constexpr const char* kPushOptedOutKey = "kUserDefaultsKeyPushOptedOut";

[[noreturn]] void refuse(std::string_view key, const char* expected, const zn::Value& value) {
  throw zn::Exception(zn::format("configuration key \"%@\" must be %@, not %@", key, expected, value));
}

void setBoolean(bool& target, std::string_view key, const zn::Value& value) {
  if (!value.isBoolean()) refuse(key, "true or false", value);
  target = value.boolean();
}

void setString(zn::Value& target, std::string_view key, const zn::Value& value) {
  if (!value.isString() && !value.isNull()) refuse(key, "a string or null", value);
  target = value.isNull() ? zn::nil : value;
}

/// Extensions and the application would never meet in such a group's store.
void refuseUnusableGroup(const zn::Value& configuration) {
  const zn::Value& group = configuration["appGroupID"];
  if (!group.isString() || group.string().empty() || NSUserDefaults::canNameSuite(group.string())) return;
  refuse("appGroupID", "a name that a user-defaults suite can have", group);
}

void setSeconds(std::int64_t& target, std::string_view key, const zn::Value& value) {
  if (!value.isNumber() || value.isBoolean() || value.doubleValue() < 0) refuse(key, "a number of seconds", value);
  target = value.longLongValue();
}

void setAddress(zn::Value& target, const zn::Value& value) {
  constexpr const char* kExpected = "an address such as \"https://push.example\", or null";
  if (value.isNull()) {
    target = zn::nil;
    return;
  }
  const auto url = value.isString() ? NSURL::URLWithString(value.string()) : std::nullopt;
  const bool isWeb = url && (url->scheme() == "https" || url->scheme() == "http") && !url->host().empty();
  if (!isWeb || value.string().find_first_of("?#@") != std::string_view::npos)
    refuse("server.address", kExpected, value);
  target = url->absoluteString();
}

/// Whether requests to that address stay on this machine.
bool isLoopback(std::string_view host) {
  std::string name(host);
  for (char& c : name) c = zn::asciiLower(c);
  if (name == "localhost" || name.ends_with(".localhost")) return true;  // RFC 6761
  in6_addr six{};
  if (::inet_pton(AF_INET6, name.c_str(), &six) == 1) return IN6_IS_ADDR_LOOPBACK(&six);
  in_addr four{};
  constexpr std::uint32_t kLoopbackNetwork = 127;
  return ::inet_pton(AF_INET, name.c_str(), &four) == 1 && ntohl(four.s_addr) >> 24 == kLoopbackNetwork;
}

/// What users do, and what their notifications say, is for nobody else on the network.
void refusePlainHttpBeyondThisMachine(const zn::Value& address, bool isAllowed) {
  const auto url = address.isString() ? NSURL::URLWithString(address.string()) : std::nullopt;
  if (isAllowed || !url || url->scheme() != "http" || isLoopback(url->host())) return;
  refuse("server.address", "https where the server is not on this machine (or \"server.allowPlainHttp\" be true)",
         address);
}

void setEndpoints(zn::Value& target, const zn::Value& value) {
  if (!value.isDictionary()) refuse("server.endpoints", "a dictionary", value);
  for (const auto& entry : value.entries()) {
    if (entry.value.isNull()) continue;
    const auto path = entry.value.isString() ? NSURL::URLWithString(entry.value.string()) : std::nullopt;
    if (!path || !path->scheme().empty() || entry.value.string().find_first_of("?#") != std::string_view::npos) {
      refuse("server.endpoints." + std::string(entry.name()), "a path such as \"/v1/inbox\", or null", entry.value);
    }
  }
  target = value;
}

void setDuration(std::optional<double>& target, std::string_view key, const zn::Value& value) {
  if (!value.isNumber() || value.isBoolean() || !(value.doubleValue() > 0)) {
    refuse(key, "a number of seconds above 0", value);
  }
  target = value.doubleValue();
}

void setBytes(std::optional<std::int64_t>& target, std::string_view key, const zn::Value& value) {
  if (!value.isNumber() || value.isBoolean() || value.longLongValue() < 1) {
    refuse(key, "a number of bytes above 0", value);
  }
  target = value.longLongValue();
}

}  // namespace

void ZNConfigDataManager::Settings::apply(std::string_view key, const zn::Value& value) {
  if (key == "accountActive") return setBoolean(accountActive, key, value);
  if (key == "sdkEnabled") return setBoolean(sdkEnabled, key, value);
  if (key == "inboxServiceActive") return setBoolean(inboxServiceActive, key, value);
  if (key == "realTimeTriggersEnabled") return setBoolean(realTimeTriggersEnabled, key, value);
  if (key == "appDelegateProxyEnabled") return setBoolean(appDelegateProxyEnabled, key, value);
  if (key == "appID") return setString(appID, key, value);
  if (key == "appGroupID") return setString(appGroupID, key, value);
  if (key == "inboxDefaultExpiry") return setSeconds(inboxDefaultExpiry, key, value);
  if (key == "realTimeTriggerSyncInterval") return setSeconds(realTimeTriggerSyncInterval, key, value);
  if (key == "appVersion") {
    if (!value.isString()) refuse(key, "a string", value);
    appVersion = value.string();
    return;
  }
  if (key == "queryParams") {
    if (!value.isDictionary() && !value.isNull()) refuse(key, "a dictionary or null", value);
    queryParams = value.isNull() ? zn::nil : value;
    return;
  }
  if (key == "server") return applyServer(value);
  throw zn::Exception(zn::format("configuration key \"%@\" is not known", key));
}

void ZNConfigDataManager::Settings::applyServer(const zn::Value& value) {
  if (!value.isDictionary()) refuse("server", "a dictionary", value);
  for (const auto& [key, setting] : value.entries()) applyToServer("server." + std::string(key.string()), setting);
  refusePlainHttpBeyondThisMachine(serverAddress, serverAllowsPlainHttp);
}

void ZNConfigDataManager::Settings::applyToServer(std::string_view key, const zn::Value& value) {
  if (key == "server.address") return setAddress(serverAddress, value);
  if (key == "server.allowPlainHttp") return setBoolean(serverAllowsPlainHttp, key, value);
  if (key == "server.endpoints") return setEndpoints(endpoints, value);
  if (key == "server.connectTimeout") return setDuration(serverConnectTimeout, key, value);
  if (key == "server.timeout") return setDuration(serverTimeout, key, value);
  if (key == "server.maximumResponseBytes") return setBytes(serverMaximumResponseBytes, key, value);
  throw zn::Exception(zn::format("configuration key \"%@\" is not known", key));
}

const std::shared_ptr<ZNConfigDataManager>& ZNConfigDataManager::sharedInstance() {
  static const zn::NeverDestroyed instance(std::make_shared<ZNConfigDataManager>());
  return *instance;
}

ZNConfigDataManager::ZNConfigDataManager() : settings_(std::make_shared<const Settings>()) {}

std::shared_ptr<const ZNConfigDataManager::Settings> ZNConfigDataManager::settings() const {
  zn::Lock lock(mutex_);
  return settings_;
}

bool ZNConfigDataManager::loadFile(const std::string& path, std::string* error) {
  const auto fail = [&](const std::string& reason) {
    if (error) *error = path + ": " + reason;
    return false;
  };
  std::string reason;
  const auto bytes = zn::readFile(path, &reason);
  if (!bytes) return fail(reason.empty() ? "no such file" : reason);
  zn::JsonError problem;
  const auto text = std::string_view(reinterpret_cast<const char*>(bytes->data()), bytes->size());
  const auto configuration = zn::parseJson(text, &problem, {.allowComments = true});
  if (!configuration) return fail(problem.text);
  try {
    refuseUnusableGroup(*configuration);
    apply(*configuration);
  } catch (const zn::Exception& refusal) {
    return fail(refusal.reason());
  }
  return true;
}

void ZNConfigDataManager::apply(const zn::Value& configuration) {
  if (!change(configuration)) return;
  NSNotificationCenter::defaultCenter()->postNotificationName(kNotificationNameUpdateModules);
}

bool ZNConfigDataManager::applySilently(const zn::Value& configuration) {
  reportedInactive_ = reportedMissing_ = true;
  return change(configuration);
}

bool ZNConfigDataManager::change(const zn::Value& configuration) {
  if (!configuration.isDictionary()) throw zn::Exception("the configuration must be a JSON object");
  zn::Lock lock(mutex_);
  auto changed = std::make_shared<Settings>(*settings_);
  for (const auto& entry : configuration.entries()) changed->apply(entry.name(), entry.value);
  isLoaded_ = true;
  const bool differs = *changed != *settings_;
  accountActive_ = changed->accountActive;
  sdkEnabled_ = changed->sdkEnabled;
  hasAppID_ = changed->appID.length() > 0;
  realTimeTriggersEnabled_ = changed->realTimeTriggersEnabled;
  settings_ = std::move(changed);
  return differs;
}

bool ZNConfigDataManager::isAccountActive() const {
  if (accountActive_) return true;
  if (!isLoaded_ && !reportedMissing_.exchange(true)) {
    zn::Device::current().systemLog->diagnostic(
        "no configuration is loaded, so the account counts as inactive and nothing will happen; call "
        "ZNConfigDataManager::sharedInstance()->loadFile(path) first");
  } else if (isLoaded_ && !reportedInactive_.exchange(true)) {
    zn::Device::current().systemLog->diagnostic(
        "the account is inactive, so nothing will happen: the configuration does not say \"accountActive\": true");
  }
  return false;
}

bool ZNConfigDataManager::isSDKEnabled() const { return sdkEnabled_; }
bool ZNConfigDataManager::hasZinAppID() const { return hasAppID_; }
bool ZNConfigDataManager::isInboxServiceActive() const { return settings()->inboxServiceActive; }
bool ZNConfigDataManager::isRealTimeTriggersEnabled() const { return realTimeTriggersEnabled_; }
bool ZNConfigDataManager::isAppDelegateProxyEnabled() const { return settings()->appDelegateProxyEnabled; }
zn::Value ZNConfigDataManager::getZinAppID() const { return settings()->appID; }
zn::Value ZNConfigDataManager::getAppGroupID() const { return settings()->appGroupID; }
std::int64_t ZNConfigDataManager::getInboxDefaultExpiry() const { return settings()->inboxDefaultExpiry; }
std::int64_t ZNConfigDataManager::getRealTimeTriggerSyncInterval() const {
  return settings()->realTimeTriggerSyncInterval;
}
std::string ZNConfigDataManager::appVersion() const { return settings()->appVersion; }
zn::Value ZNConfigDataManager::queryParams() const { return settings()->queryParams; }
zn::Value ZNConfigDataManager::endpointForService(std::string_view service) const {
  return settings()->endpoints.validObjectForKey(service);
}
zn::Value ZNConfigDataManager::serverAddress() const { return settings()->serverAddress; }
std::optional<double> ZNConfigDataManager::serverConnectTimeout() const { return settings()->serverConnectTimeout; }
std::optional<double> ZNConfigDataManager::serverTimeout() const { return settings()->serverTimeout; }
std::optional<std::int64_t> ZNConfigDataManager::serverMaximumResponseBytes() const {
  return settings()->serverMaximumResponseBytes;
}

bool ZNConfigDataManager::isPushNotificationEnabled() const {
  return !ZNCoreUtils::getSDKUserDefault()->boolForKey(kPushOptedOutKey);
}

void ZNConfigDataManager::setUserPushNotificationOptedOut(bool optedOut) {
  std::function<void(bool)> observer;
  {
    zn::Lock lock(mutex_);
    observer = pushOptOutObserver_;
  }
  if (observer) observer(optedOut);
  const bool wasOptedOut = !isPushNotificationEnabled();
  ZNCoreUtils::getSDKUserDefault()->setBool(optedOut, kPushOptedOutKey);
  if (optedOut != wasOptedOut) {
    NSNotificationCenter::defaultCenter()->postNotificationName(kNotificationNamePushConsentChanged);
  }
}

void ZNConfigDataManager::setPushOptOutObserver(std::function<void(bool)> observer) {
  zn::Lock lock(mutex_);
  pushOptOutObserver_.swap(observer);
}
