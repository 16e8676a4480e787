#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zinserver {

/// Says on standard error what is wrong with the files of the folder: once, and again when a file has changed. Thread:
/// any.
class FolderFindings {
 public:
  void tell(const std::string& file, std::string_view text);

 private:
  bool isNew(const std::string& file, std::string_view text);

  zn::Mutex mutex_;
  std::map<std::string, std::size_t> known_ ZN_GUARDED_BY(mutex_);  // hashes of what was told of
};

/// What is wrong with a payload that is part of something else, whose lines are not known any more.
void tellFindingsOfPayload(const std::string& from, const zn::Value& payload);

}  // namespace zinserver
