#include "ZNPlatform/RealClock.h"

#include <time.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string_view>

namespace zn {

namespace {

std::optional<tm> inZoneOfProcess(Date at) {
  constexpr double kFarthest = 1e15;
  if (!(std::abs(at.secondsSince1970) < kFarthest)) return std::nullopt;
  const auto moment = static_cast<time_t>(std::floor(at.secondsSince1970));
  tm local{};
  return ::localtime_r(&moment, &local) ? std::optional(local) : std::nullopt;
}

/// From the environment, or else from the link that administrators set.
std::string identifierOfZoneOfProcess() {
  std::error_code none;
  const char* set = ::secure_getenv("TZ");
  std::string zone = set ? set : std::filesystem::read_symlink("/etc/localtime", none).string();
  if (zone.starts_with(':')) zone.erase(0, 1);
  constexpr std::string_view kFolder = "zoneinfo/";
  if (const auto folder = zone.find(kFolder); folder != std::string::npos) zone.erase(0, folder + kFolder.size());
  return std::filesystem::is_regular_file("/usr/share/zoneinfo/" + zone, none) ? zone : std::string();
}

}  // namespace

long ClockInZoneOfProcess::secondsFromGMT(Date at) const {
  const std::optional<tm> local = inZoneOfProcess(at);
  return local ? local->tm_gmtoff : 0;
}

TimeZoneNames ClockInZoneOfProcess::zoneNames(Date at) const {
  const std::optional<tm> local = inZoneOfProcess(at);
  return {identifierOfZoneOfProcess(), local && local->tm_zone ? local->tm_zone : ""};
}

RealClock::RealClock() { ::tzset(); }

Date RealClock::now() const {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return {std::chrono::duration<double>(sinceEpoch).count()};
}

}  // namespace zn
