#pragma once

#include <cstdint>
#include <deque>
#include <optional>

#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/Value.h"

namespace zinserver {

/// How a request to a service goes wrong.
struct Fault {
  int service = 0;
  std::int64_t times = 1;
  double delaySeconds = 0;
  int status = 0;         ///< 0: as it would be
  double retryAfter = 0;  ///< seconds; 0: the answer does not say
  bool garbage = false;
  bool truncate = false;
  bool close = false;
};

/// Throws zn::Exception for a dictionary that describes none.
Fault faultOf(const zn::Value& description);
zn::Value descriptionOf(const Fault& fault);

/// The faults that still wait for their requests. Thread: any.
class Faults {
 public:
  void add(const Fault& fault);
  /// The oldest one of that service; it counts as used once.
  std::optional<Fault> take(int service);
  zn::Value descriptions() const;
  void clear();

 private:
  mutable zn::Mutex mutex_;
  std::deque<Fault> faults_ ZN_GUARDED_BY(mutex_);
};

}  // namespace zinserver
