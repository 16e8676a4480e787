#pragma once

#include <functional>

namespace zn {

/// Whether the account is active and the library switched on. Where it is not, operations do nothing and log nothing.
bool isSwitchedOn();

/// Whether the user allows alerts. The completion is called once, on the queue on which the device tells.
void checkAlertsAllowed(std::function<void(bool isAllowed)> completion);

}  // namespace zn
