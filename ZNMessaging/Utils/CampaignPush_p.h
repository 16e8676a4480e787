#pragma once

#include "ZNPlatform/Foundation/Value.h"

namespace zn {

/// Of a payload's "zintar" dictionary: whether the push is to be seen, and belongs to a campaign. Here by itself, so
/// that an extension can ask it without the module.
bool isVisiblePushOfCampaign(const Value& zintar);

}  // namespace zn
