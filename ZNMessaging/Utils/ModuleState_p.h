#pragma once

// What all parts of the module ask before they act.

#include <cstdint>
#include <functional>

namespace zn {

/// Whether the account is active and the library switched on. Where it is not, operations do nothing and log nothing.
bool isSwitchedOn();

/// Whether the user allows alerts. The completion is called once, on the queue on which the device tells.
void checkAlertsAllowed(std::function<void(bool isAllowed)> completion);

/// Counts the users of this process: one more after every user reset. What was begun for an earlier user must not reach
/// the next one.
std::uint64_t userGeneration();
void userWasReset();

/// Likewise for device triggers, which an opt-out of push stops too: one more each time that what is under way for them
/// has become void.
std::uint64_t triggerGeneration();
void triggersWereStopped();

}  // namespace zn
