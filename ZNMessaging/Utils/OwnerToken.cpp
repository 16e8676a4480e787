#include "ZNMessaging/Utils/OwnerToken_p.h"

namespace zn {

namespace {
std::atomic<std::uint64_t> users{0};
std::atomic<std::uint64_t> triggers{0};
}  // namespace

OwnerToken OwnerToken::ofUser() { return OwnerToken(users); }
OwnerToken OwnerToken::ofTriggers() { return OwnerToken(triggers); }
void OwnerToken::userWasReset() { ++users; }
void OwnerToken::triggersWereStopped() { ++triggers; }

}  // namespace zn
