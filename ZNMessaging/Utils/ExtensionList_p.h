#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/NSUserDefaults.h"
#include "ZNPlatform/Foundation/Value.h"

// The list through which pushes reach the inbox that arrive where the module cannot take them in itself. Here by itself,
// so that an extension can use it without the module.

namespace zn {

/// Of a payload's "zintar" dictionary: whether the push is to be seen, and belongs to a campaign.
ZN_EXPORT bool isVisiblePushOfCampaign(const Value& zintar);

/// Adds a payload to the list in the app group's store, with the time when it came unless its sender names that: the
/// application may take it in days later. One that is none of a campaign's or not to be seen is left out. False with
/// `error` where it could not be written, or others keep the store for longer than `patience` (none: as long as it
/// takes). Throws Exception for what nests too deep.
ZN_EXPORT bool appendToExtensionList(NSUserDefaults& store, const std::string& applicationID, const Value& payload,
                                     std::string& error, std::optional<std::chrono::milliseconds> patience = {});

}  // namespace zn
