#pragma once

#include <string>
#include <vector>

#include "Apps/zinstory/Page.h"
#include "Apps/zinstory/Payloads.h"

namespace zinstory {

/// The story's two starts of the application. Each belongs into a process of its own, as the simulated device is
/// installed once a process; both keep their files in `home`.
void tellFirstStart(Page& page, const std::string& home, const std::vector<Payload>& payloads);
void tellSecondStart(Page& page, const std::string& home);

}  // namespace zinstory
