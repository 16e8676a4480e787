#include "Apps/zinserver/FolderFindings.h"

#include <chrono>
#include <functional>

#include "Apps/Check/Check.h"
#include "Apps/zinserver/Log.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zinserver {

namespace {

std::vector<apps::check::Finding> findingsOf(apps::check::Kind kind, std::string_view text) {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return apps::check::check(kind, text, {.now = std::chrono::duration<double>(now).count()});
}

}  // namespace

bool FolderFindings::isNew(const std::string& file, std::string_view text) {
  const std::size_t hash = std::hash<std::string_view>()(text);
  zn::Lock lock(mutex_);
  const auto [known, isFirst] = known_.try_emplace(file, hash);
  const bool hasChanged = known->second != hash;
  known->second = hash;
  return isFirst || hasChanged;
}

void FolderFindings::tell(const std::string& file, std::string_view text) {
  if (!isNew(file, text)) return;
  for (const auto& finding : findingsOf(apps::check::Kind::campaigns, text)) log(apps::check::lineFor(file, finding));
}

void tellFindingsOfPayload(const std::string& from, const zn::Value& payload) {
  if (!payload.isDictionary()) return;  // which whoever sends it says
  for (const auto& finding : findingsOf(apps::check::Kind::payload, zn::jsonText(payload))) {
    log(from + ": " + finding.sentence + (finding.advice.empty() ? "" : " (" + finding.advice + ")"));
  }
}

}  // namespace zinserver
