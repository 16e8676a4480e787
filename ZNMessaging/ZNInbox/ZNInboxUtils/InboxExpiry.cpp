#include "ZNMessaging/ZNInbox/ZNInboxUtils/InboxExpiry.h"

#include <cstdint>

#include "ZintarCore/ZNConfigDataManager.h"

double zn::defaultInboxExpiryPeriod() {
  constexpr std::int64_t thirtyDays = 2592000;
  const std::int64_t configured = ZNConfigDataManager::sharedInstance()->getInboxDefaultExpiry();
  return static_cast<double>(configured != 0 ? configured : thirtyDays);
}
