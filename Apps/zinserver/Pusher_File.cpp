#include <sys/stat.h>

#include <optional>
#include <set>

#include "Apps/zinserver/FolderFindings.h"
#include "Apps/zinserver/Log.h"
#include "Apps/zinserver/Pusher.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zinserver {

using zn::Value;

namespace {

constexpr const char* kFile = "pushes.json";

/// "" without a file; nothing for an empty one, as somebody is writing it.
std::optional<std::string> versionOf(const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return "";
  if (status.st_size == 0) return std::nullopt;
  std::string version;
  for (const auto each : {status.st_ino, static_cast<ino_t>(status.st_size), static_cast<ino_t>(status.st_mtim.tv_sec),
                          static_cast<ino_t>(status.st_mtim.tv_nsec)}) {
    version += std::to_string(each) + " ";
  }
  return version;
}

}  // namespace

bool Pusher::readFileIfChanged() {
  auto version = versionOf(folder_.pathOf(kFile));
  if (!version || *version == seen_) return false;
  seen_ = *std::move(version);
  try {
    pushes_ = pushesIn(folder_.readJson(kFile));
  } catch (const zn::Exception& problem) {
    pushes_.clear();
    log(problem.reason());
  }
  return true;
}

/// Without those that cannot be used, which are said.
std::vector<Pusher::Push> Pusher::pushesIn(const Value& contents) const {
  if (contents.isNil()) return {};
  if (!contents.isArray()) throw zn::Exception(std::string(kFile) + ": must hold a JSON array");
  std::vector<Push> pushes;
  std::set<std::string> ids;
  for (const Value& each : contents.elements()) {
    try {
      const std::string id(each["id"].string());
      auto message = push::messageOf(each, {"id"});
      if (id.empty()) throw zn::Exception("\"id\" must be a text");
      if (!ids.insert(id).second) throw zn::Exception("another push has the \"id\" " + id);
      tellFindingsOfPayload(std::string(kFile) + ": push " + id, each["payload"]);
      pushes.push_back({id, std::move(message)});
    } catch (const zn::Exception& problem) {
      const auto number = static_cast<std::size_t>(&each - contents.elements().data()) + 1;
      log(std::string(kFile) + ": push " + std::to_string(number) + ": " + problem.reason());
    }
  }
  return pushes;
}

}  // namespace zinserver
