#pragma once

#include <algorithm>
#include <iterator>

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

inline bool isService(int number) {
  return std::any_of(std::begin(kServices), std::end(kServices),
                     [&](const Service& each) { return static_cast<int>(each.number) == number; });
}

}  // namespace zinserver
