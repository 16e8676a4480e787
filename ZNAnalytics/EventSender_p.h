#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "ZNAnalytics/EventQueue_p.h"
#include "ZNPlatform/Export.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZintarCore/RetryPolicy_p.h"
#include "ZintarCore/ZNNetworkRequest.h"

namespace zn {

/// Sends a queue, one request after another and one flush after another. Flushes that are asked for while one runs are
/// one flush after it. After a failure flushes fail at once for a while (see RetryPolicy); what is left then waits for
/// the next one, or is tried again by itself later. Thread: any.
class ZN_EXPORT EventSender : public std::enable_shared_from_this<EventSender> {
 public:
  static constexpr std::size_t maximumEvents = 500;
  static constexpr std::int64_t maximumBytes = 256'000;  ///< of a request's body; a longer event travels alone

  explicit EventSender(std::shared_ptr<EventQueue> queue) : queue_(std::move(queue)) {}
  /// The completion, if given, is called once, on the global queue: whether nothing of what was queued waits any more.
  void flush(std::function<void(bool sent)> completion);

 private:
  using Completions = std::vector<std::function<void(bool)>>;

  void begin();
  void tryAgain(std::uint64_t ticket);
  void sendNext();
  void answered(const EventQueue::Batch& batch, const NetworkAnswer& answer);
  void refused(const EventQueue::Batch& batch, int status);
  void leave(const EventQueue::Batch& batch);
  void end(bool sent, double retryAfter = 0);

  const std::shared_ptr<EventQueue> queue_;

  Mutex mutex_;
  bool isRunning_ ZN_GUARDED_BY(mutex_) = false;
  bool isWanted_ ZN_GUARDED_BY(mutex_) = false;  // by a flush that waits for the one that runs
  Completions waiting_ ZN_GUARDED_BY(mutex_);
  Completions served_ ZN_GUARDED_BY(mutex_);  // by the flush that runs
  RetryPolicy retry_ ZN_GUARDED_BY(mutex_);

  // Of the flush that runs, which is one task after another.
  std::int64_t due_ = 0;              // bytes that were queued when it began
  std::size_t most_ = maximumEvents;  // in the next request
  std::size_t ceiling_ = maximumEvents;
  unsigned refusals_ = 0;  // of single events, since the server took something
};

}  // namespace zn
