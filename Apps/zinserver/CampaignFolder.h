#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Apps/zinserver/Faults.h"
#include "Apps/zinserver/FolderFindings.h"
#include "ZNPlatform/Foundation/Value.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace zinserver {

/// The answers of the services, made from the files of a folder, which are read anew each time. Thread: any.
class CampaignFolder {
 public:
  explicit CampaignFolder(std::string path) : path_(std::move(path)) {}

  /// Throws zn::Exception, naming the file, when one cannot be read or does not hold what it should.
  zn::Value answer(ZNService service, const zn::Value& request) const;
  /// Those of faults.json; none without that file. Throws likewise.
  std::vector<Fault> faults() const;

  /// nil when there is no such file. Throws likewise.
  zn::Value readJson(const char* name) const;
  std::string pathOf(const char* name) const;

 private:
  std::optional<std::string> readText(const char* name) const;
  zn::Value readObject(const char* name) const;
  zn::Value campaigns(const zn::Value& request) const;
  zn::Value segment(const zn::Value& request) const;

  std::string path_;
  mutable FolderFindings findings_;
};

}  // namespace zinserver
