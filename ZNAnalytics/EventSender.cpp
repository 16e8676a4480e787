#include "ZNAnalytics/EventSender_p.h"

#include <algorithm>
#include <utility>

#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Dispatch.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Json.h"

namespace zn {

namespace {

/// A server that refuses so many events one after another refuses for a reason of its own.
constexpr unsigned kMostRefusals = 10;

Value bodyOf(const Value& events) {
  const auto query = ZNNetworkConfiguration::sharedInstance()->getQueryParamsBodyDictForService(ZNService::events);
  return Value::dictionary({{"events", events}, {"query_params", query}});
}

/// Whether the server refuses the events themselves: sending them again would not help.
bool isRefusal(int status) {
  return status >= 400 && status < 500 && status != 401 && status != 403 && status != 408 && status != 429;
}

bool isToBeLeftAlone(int status) { return status == 429 || status == 503; }

void complete(const std::vector<std::function<void(bool)>>& completions, bool sent) {
  for (const auto& each : completions) {
    runTask([&] { each(sent); }, *Device::current().systemLog);  // the host's, which may throw
  }
}

}  // namespace

void EventSender::flush(std::function<void(bool sent)> completion) {
  {
    Lock lock(mutex_);
    if (isRunning_ || retry_.mayAsk(secondsSince1970())) {
      isWanted_ = true;
      if (completion) waiting_.push_back(std::move(completion));
      if (isRunning_) return;
      isRunning_ = true;
      completion = nullptr;
    } else if (!completion) {
      return;
    }
  }
  if (completion) return dispatchAsync(Queue::global, [completion = std::move(completion)] { completion(false); });
  dispatchAsync(Queue::global, [self = shared_from_this()] { self->begin(); });
}

void EventSender::tryAgain(std::uint64_t ticket) {
  {
    Lock lock(mutex_);
    if (isRunning_ || !retry_.isDue(ticket)) return;
    isRunning_ = true;
  }
  begin();
}

void EventSender::begin() {
  {
    Lock lock(mutex_);
    served_ = std::exchange(waiting_, {});
    isWanted_ = false;
  }
  due_ = queue_->bytes();
  most_ = ceiling_ = maximumEvents;
  refusals_ = 0;
  sendNext();
}

void EventSender::sendNext() {
  const auto around = static_cast<std::int64_t>(jsonText(bodyOf(Value::array())).size());
  EventQueue::Batch batch;
  while (due_ > 0) {
    batch = queue_->read(most_, maximumBytes - around);
    if (!batch.events.isEmpty()) break;
    if (batch.bytes == 0) return end(true);
    leave(batch);  // nothing but what was sent before, or cannot be read
  }
  if (due_ <= 0) return end(true);
  ZNNetworkRequest::initWithService(ZNService::events, nil, nil, bodyOf(batch.events), nil)
      ->executeForAnswer([self = shared_from_this(), batch](const NetworkAnswer& answer) {
        dispatchAsync(Queue::global, [self, batch, answer] { self->answered(batch, answer); });
      });
}

void EventSender::leave(const EventQueue::Batch& batch) {
  queue_->remove(batch);
  due_ -= batch.bytes;
  most_ = std::min(ceiling_, 2 * most_);
}

void EventSender::answered(const EventQueue::Batch& batch, const NetworkAnswer& answer) {
  if (answer.response.isNil()) {
    if (isRefusal(answer.status)) return refused(batch, answer.status);
    return end(false, isToBeLeftAlone(answer.status) ? answer.retryAfter : 0);
  }
  leave(batch);
  refusals_ = 0;
  {
    Lock lock(mutex_);
    retry_.succeeded();
  }
  sendNext();
}

void EventSender::refused(const EventQueue::Batch& batch, int status) {
  constexpr int kTooLarge = 413;
  const std::size_t count = batch.events.size();
  if (count > 1) {
    most_ = count / 2;
    if (status == kTooLarge) ceiling_ = most_;
    return sendNext();
  }
  const Value& event = batch.events.elements()[0];
  const std::string path = queue_->setAside(event);
  if (path.empty()) return end(false);
  Device::current().systemLog->diagnostic(
      zn::format("the server refused an event with status %ld; it is kept in %@: %@", static_cast<long>(status), path,
                 event[kQueuedEventName].isNil() ? Value("device record") : event[kQueuedEventName]));
  leave(batch);
  if (++refusals_ == kMostRefusals) return end(false);
  sendNext();
}

void EventSender::end(bool sent, double retryAfter) {
  Completions completions;
  bool isNextWanted = false;
  RetryPolicy::Retry retry{};
  {
    Lock lock(mutex_);
    completions = std::exchange(served_, {});
    if (!sent) {
      for (auto& each : std::exchange(waiting_, {})) completions.push_back(std::move(each));
      retry = retry_.failed(secondsSince1970(), retryAfter, Device::current().random->fraction());
    }
    isNextWanted = sent && isWanted_;
    isRunning_ = isNextWanted;
  }
  if (!sent) {
    dispatchAfter(Queue::global, retry.pause,
                  [self = shared_from_this(), ticket = retry.ticket] { self->tryAgain(ticket); });
  }
  if (isNextWanted) dispatchAsync(Queue::global, [self = shared_from_this()] { self->begin(); });
  complete(completions, sent);
}

}  // namespace zn
