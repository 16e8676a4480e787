// Lines of a scenario, read and run: a line is refused as a whole, or every effect of it is one line of text.

#include <cmath>
#include <filesystem>

#include "Apps/CommandLine.h"
#include "Apps/zinsim/Session.h"
#include "Fuzz/FuzzDevice.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNMessaging/ZNRealTimeTriggers/DTDataManager/ZNDeviceTriggersDataManager.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Unicode.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace {

using zn::fuzz::device;

/// Of a long time all delayed work runs, which may be any number of retries.
bool takesLong(std::string_view line) {
  if (line.find("advance") == std::string_view::npos && line.find("clock") == std::string_view::npos) return false;
  constexpr double kMostSeconds = 600;
  const auto command = zn::parseJson(line);
  if (!command) return false;
  const zn::Value& name = (*command)["do"];
  const auto isFar = [](const zn::Value& seconds, double from) {
    return seconds.isNumber() && !(std::abs(seconds.doubleValue() - from) <= kMostSeconds);
  };
  if (name == zn::Value("advance")) return isFar((*command)["seconds"], 0);
  return name == zn::Value("clock") && isFar((*command)["to"], device().now());
}

void check(const zn::Effect& effect) {
  const std::string line = effect.line();
  zn::fuzz::require(line.find('\n') == std::string::npos && zn::isValidUtf8(line));
}

zn::Value initialConfiguration() {
  return zn::Value::dictionary({{"accountActive", true},
                                {"sdkEnabled", true},
                                {"inboxServiceActive", true},
                                {"realTimeTriggersEnabled", true},
                                {"appDelegateProxyEnabled", false},
                                {"appID", "app-1"},
                                {"appGroupID", "group.zintar"},
                                {"inboxDefaultExpiry", 0},
                                {"queryParams", zn::Value::dictionary({{"app", "app-1"}})}});
}

/// What a scenario left should not reach the next one, so that a finding can be repeated.
void startOver(zinsim::Session& session, const std::string& home) {
  for (const int service : {1, 7, 8, 9, 10}) {
    device().setServerAnswer(service, zn::nil);
    while (device().answerOldestRequest(service, zn::nil)) {
    }
  }
  static const zn::Value configuration = initialConfiguration();
  ZNConfigDataManager::sharedInstance()->applySilently(configuration);
  device().setApplicationState(UIApplicationState::active);
  device().setAlertSetting(UNNotificationSetting::enabled);
  device().runUntilIdle();
  session.messagingDelegate.reset();
  std::error_code ignored;
  for (const char* folder : {"Library", "Documents", "Preferences"}) {
    for (const auto& each : std::filesystem::directory_iterator(std::filesystem::path(home) / folder, ignored)) {
      std::filesystem::remove_all(each.path(), ignored);
    }
  }
  ZNInboxHandler::sharedInstance()->setInboxData(nullptr);
  ZNDeviceTriggersDataManager::sharedInstance()->setActiveDeviceTriggers(nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string home = device().directories->home();
  static auto& session = *new zinsim::Session({&device(), [](zn::Simulator*) {}}, check);
  constexpr int kMostLines = 4;
  std::string_view rest = zn::fuzz::textOf({data, size});
  for (int number = 0; number < kMostLines && !rest.empty(); ++number) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (takesLong(line)) continue;
    try {
      zinsim::runLine(line, session, [](const std::string&) {});
    } catch (const apps::UsageError&) {
      break;
    }
  }
  startOver(session, home);
  return 0;
}
