#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Apps/zinsim/Session.h"

namespace zinsim {

// The host's delegates. They print each call of an operation that they implement. Both throw UsageError for an
// operation that such delegates do not have.

/// Raises an exception after printing, if the operation is named in `throws`.
std::shared_ptr<ZNMessagingDelegate> messagingDelegate(Session& session, std::vector<std::string> implements,
                                                       std::vector<std::string> throws);
std::shared_ptr<ZNInboxCellSelectedDelegate> inboxCellDelegate(Session& session, std::vector<std::string> implements);

}  // namespace zinsim
