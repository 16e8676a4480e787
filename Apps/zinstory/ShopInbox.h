#pragma once

#include <string>

#include "Apps/zinstory/Shop.h"

namespace zinstory {

inline constexpr const char* kShopID = "app-1";
inline constexpr const char* kShopGroup = "group.example.shop";

/// Before the shop starts: an older version's inbox file, and a push that the notification extension keeps for it.
void leaveMessages(Page& page, const std::string& home);

/// Starts the shop, and shows what its inbox took in from three sources, as its screen draws it.
void tellInbox(Shop& shop);

}  // namespace zinstory
