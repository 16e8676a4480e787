#pragma once

#include <string>

namespace zinserver {

/// Who may ask the server that listens at `address`, which may be a name: why a request with these headers is refused
/// ("" for one that is not there), or "". A browser sends requests here for any page that it shows: their answers, and
/// what they change, are no business of that page. Such a request names the page in Origin; where the page's own name
/// was made to lead to this machine, it names that in Host.
std::string refusal(const std::string& address, const std::string& host, const std::string& origin);

}  // namespace zinserver
