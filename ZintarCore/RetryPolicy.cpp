#include "ZintarCore/RetryPolicy_p.h"

#include <algorithm>
#include <cmath>

namespace zn {

double RetryPause::after(unsigned failures, double retryAfter, double fraction) const {
  constexpr double kLongestRetryAfter = 24 * 3600;
  const double pause = std::min(longest, first * std::exp2(std::max(failures, 1u) - 1.0));
  const double asked = std::clamp(retryAfter, 0.0, kLongestRetryAfter);
  return std::max(asked, pause / 2) + std::max(asked / 2, pause) * fraction;
}

RetryPolicy::Retry RetryPolicy::failed(double now, double retryAfter, double fraction) {
  ++failures_;
  failedAt_ = now;
  notBefore_ = now + whenAsked.after(failures_, retryAfter, fraction);
  return {byItself.after(failures_, retryAfter, fraction), ++outcomes_};
}

void RetryPolicy::succeeded() {
  failures_ = 0;
  failedAt_ = notBefore_ = 0;
  ++outcomes_;
}

}  // namespace zn
