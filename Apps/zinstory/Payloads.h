#pragma once

#include <string>
#include <vector>

#include "ZNPlatform/Foundation/Value.h"

namespace zinstory {

struct Payload {
  std::string fileName;  ///< without its folder
  zn::Value content;     ///< a dictionary
};

/// Reads a push payload. Throws zn::Exception whose reason names the file and the place (line and column, or the key).
Payload readPayload(const std::string& path);

/// The *.json files of a folder, in the order of their names. Throws zn::Exception also when there is none.
std::vector<std::string> payloadFilesIn(const std::string& folder);

}  // namespace zinstory
