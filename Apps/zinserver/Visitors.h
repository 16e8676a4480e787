#pragma once

#include <string>

namespace zinserver {

/// Who may ask. A browser sends requests here for any page that it shows: their answers, and what they change, are no
/// business of that page. Such a request names the page in Origin; where the page's own name was made to lead to this
/// machine, it names that in Host.
class Visitors {
 public:
  /// The address at which the server listens; it may be a name.
  explicit Visitors(std::string address) : address_(std::move(address)) {}

  /// Why a request with these headers is refused ("" for one that is not there); "" for one that is not refused.
  std::string refusal(const std::string& host, const std::string& origin) const;

 private:
  bool isOurs(const std::string& name) const;

  std::string address_;
};

}  // namespace zinserver
