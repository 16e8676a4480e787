#pragma once

#include <string>

namespace push {

/// An address that may be told secrets: https, or http to this machine, and without a user's name or password.
class Url {
 public:
  /// Throws zn::Exception for any other text. What it says shows none of it.
  explicit Url(const std::string& text);

  const std::string& text() const { return text_; }
  const std::string& origin() const { return origin_; }  ///< such as "https://push.example.com:8443"
  bool isLoopback() const { return isLoopback_; }
  /// For people and logs: who knows all of an endpoint may push.
  std::string shortened() const;

 private:
  std::string text_;
  std::string origin_;
  std::string path_;
  bool isLoopback_ = false;
};

}  // namespace push
