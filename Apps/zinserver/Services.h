#pragma once

#include "ZintarCore/ZNNetworkRequest.h"

namespace zinserver {

struct Service {
  ZNService number;
  const char* path;
};

inline constexpr Service kServices[] = {{ZNService::events, "/v1/events"},
                                        {ZNService::inbox, "/v1/inbox"},
                                        {ZNService::categories, "/v1/categories"},
                                        {ZNService::triggerSync, "/v1/triggers"},
                                        {ZNService::userInSegment, "/v1/segments"}};

}  // namespace zinserver
