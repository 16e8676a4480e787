// A host's configuration file: taken as a whole, and then taking it once more changes nothing, or refused as a whole.

#include "Fuzz/FuzzDevice.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace {

zn::Value settingsOf(const ZNConfigDataManager& manager) {
  zn::Value all =
      zn::Value::array({manager.isAccountActive(), manager.isSDKEnabled(), manager.isInboxServiceActive(),
                        manager.isRealTimeTriggersEnabled(), manager.isAppDelegateProxyEnabled(), manager.hasZinAppID(),
                        manager.getInboxDefaultExpiry(), manager.getRealTimeTriggerSyncInterval(), manager.appVersion(),
                        manager.serverConnectTimeout().value_or(-1), manager.serverTimeout().value_or(-1),
                        manager.serverMaximumResponseBytes().value_or(-1)});
  for (const zn::Value& each : {manager.getZinAppID(), manager.getAppGroupID(), manager.queryParams(),
                                manager.serverAddress(), manager.endpointForService("7")}) {
    all.append(each.isNil() ? zn::Value::null() : each);
  }
  return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = zn::fuzz::device().directories->home() + "/configuration.json";
  static const zn::Value initial = settingsOf(ZNConfigDataManager());
  zn::fuzz::writeFile(path, {data, size});
  ZNConfigDataManager manager;
  std::string error;
  const bool isTaken = manager.loadFile(path, &error);
  zn::fuzz::require(isTaken == error.empty());
  if (isTaken) {
    const auto same = zn::parseJson(zn::fuzz::textOf({data, size}), nullptr, {.allowComments = true});
    zn::fuzz::require(same && !manager.applySilently(*same));
    for (const double limit : {manager.serverTimeout().value_or(1), manager.serverConnectTimeout().value_or(1)}) {
      zn::fuzz::require(limit > 0);
    }
    zn::fuzz::require(manager.serverMaximumResponseBytes().value_or(1) > 0);
  } else {
    zn::fuzz::require(settingsOf(manager) == initial);
  }
  return 0;
}
