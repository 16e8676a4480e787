#pragma once

#include <cstdint>
#include <string>

namespace zindistributor {

/// What goes wrong, as asked for.
struct Faults {
  std::string refuse;       ///< why registrations fail; empty: they do not
  std::int64_t times = -1;  ///< how many more do; less than 0: all
  double delaySeconds = 0;
  bool silent = false;
  std::int64_t newEndpointAfter = 0;  ///< messages; 0: never
  std::int64_t unregisterAfter = 0;
  bool twice = false;
  bool unknownToken = false;

  /// Throws zn::Exception for a text that describes none.
  void add(const std::string& text);
  /// Whether the registration that is asked for now is refused.
  bool refusesNow();
};

}  // namespace zindistributor
