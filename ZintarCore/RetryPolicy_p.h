#pragma once

#include <cstdint>

#include "ZNPlatform/Export.h"

namespace zn {

/// Pauses that double with each failure in a row, in seconds.
struct ZN_EXPORT RetryPause {
  double first;
  double longest;

  /// Between half of the pause and one and a half, and not before the server's `Retry-After` has passed: then the rest
  /// is spread over the pause, or half of what the server asked for if that is longer, since all those come back that
  /// failed meanwhile. `failures`: in a row, at least 1. `fraction`: from 0 to 1, by chance.
  double after(unsigned failures, double retryAfter, double fraction) const;
};

/// What one device knows of a service that may fail. Whatever sends a request again by itself decides with this, so
/// that a service that comes back is not overrun by all devices that it failed. A request that somebody asks for waits
/// briefly: users are spread already. One that nobody asks for comes on top of theirs, and waits for as long as a
/// device is commonly left alone. Time and chance are passed in. Thread: the owner's lock.
class ZN_EXPORT RetryPolicy {
 public:
  static constexpr RetryPause whenAsked{10, 1800};
  static constexpr RetryPause byItself{3600, 8 * 3600.0};

  struct Retry {
    double pause;          ///< seconds
    std::uint64_t ticket;  ///< for `isDue`
  };

  /// Whether a request that was asked for may be sent now. A clock that was set back ends a pause.
  bool mayAsk(double now) const { return now >= notBefore_ || now < failedAt_; }
  /// A request failed. Returns when to try again by itself, unless something else is sent before.
  Retry failed(double now, double retryAfter, double fraction);
  void succeeded();
  /// Whether no request succeeded or failed since the retry was told.
  bool isDue(std::uint64_t ticket) const { return ticket == outcomes_; }

 private:
  unsigned failures_ = 0;  // in a row
  double failedAt_ = 0;
  double notBefore_ = 0;
  std::uint64_t outcomes_ = 0;
};

}  // namespace zn
