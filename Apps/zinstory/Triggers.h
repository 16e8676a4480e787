#pragma once

#include <functional>

#include "Apps/zinstory/Shop.h"

namespace zinstory {

/// Which campaigns of the started shop events set off, and why the others stay silent; at the end without the server.
void tellTriggers(Shop& shop, const std::function<void()>& stopServer);

}  // namespace zinstory
