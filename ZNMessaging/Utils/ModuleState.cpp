#include "ZNMessaging/Utils/ModuleState_p.h"

#include <atomic>

#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNCoreUtils.h"

namespace {
std::atomic<std::uint64_t> generation{0};
std::atomic<std::uint64_t> generationOfTriggers{0};
}  // namespace

std::uint64_t zn::userGeneration() { return generation.load(); }
void zn::userWasReset() { ++generation; }
std::uint64_t zn::triggerGeneration() { return generationOfTriggers.load(); }
void zn::triggersWereStopped() { ++generationOfTriggers; }

bool zn::isSwitchedOn() {
  return ZNConfigDataManager::sharedInstance()->isAccountActive() && ZNCoreUtils::isSDKEnabled();
}
