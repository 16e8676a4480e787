#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ZNPlatform/Export.h"

/// A URL reference (RFC 3986) that was checked when it was made.
class ZN_EXPORT NSURL {
 public:
  /// Nothing for an empty or malformed text (blanks, control characters, bad percent escapes, characters that a URL may
  /// not hold). Characters beyond ASCII are percent-encoded.
  static std::optional<NSURL> URLWithString(std::string_view text);

  const std::string& absoluteString() const { return text_; }
  std::string_view scheme() const;  ///< "" for a relative reference
  std::string_view host() const;
  std::string_view path() const;
  std::string_view query() const;  ///< without the question mark

 private:
  explicit NSURL(std::string text) : text_(std::move(text)) {}
  std::string text_;
};
