#include "Benchmarks/Fleet/Fleet.h"

#include <algorithm>
#include <numeric>

namespace fleet {

namespace {

/// How busy the hours of a day are, from midnight on.
constexpr std::array kHours = {1.0, 0.5, 0.3, 0.2, 0.3, 0.8, 2.0, 4.0, 5.0, 4.5, 4.5, 5.0,
                               6.0, 5.5, 4.5, 4.5, 5.0, 6.0, 7.0, 8.0, 8.5, 8.5, 6.0, 2.5};

constexpr double kAnswersAfter = 0.1;

}  // namespace

void Traffic::count(Service service, double time) {
  auto& counts = counts_[static_cast<std::size_t>(service)];
  const auto interval = static_cast<std::size_t>(time / kInterval);
  if (counts.size() <= interval) counts.resize(interval + 1);
  ++counts[interval];
}

double Traffic::at(std::optional<Service> service, std::size_t interval) const {
  const auto of = [&](const std::vector<double>& counts) { return interval < counts.size() ? counts[interval] : 0; };
  if (service) return of(counts_[static_cast<std::size_t>(*service)]);
  return std::accumulate(counts_.begin(), counts_.end(), 0.0,
                         [&](double sum, const auto& counts) { return sum + of(counts); });
}

double Traffic::average(std::optional<Service> service, double from, double to) const {
  double sum = 0;
  for (auto i = static_cast<std::size_t>(from / kInterval); i < static_cast<std::size_t>(to / kInterval); ++i) {
    sum += at(service, i);
  }
  return sum / (to - from);
}

double Traffic::peak(std::optional<Service> service, double from, double to, double window) const {
  double most = 0;
  for (double start = from; start + window <= to; start += kInterval) {
    most = std::max(most, average(service, start, start + window));
  }
  return most;
}

Fleet::Fleet(const Habits& habits, const Day& day)
    : habits_(habits), day_(day), devices_(static_cast<std::size_t>(habits.devices)) {}

Traffic Fleet::run() {
  for (Device& device : devices_) device.sentCategories = chance() >= habits_.withNewVersion;
  planSessions();
  if (day_.campaign) planPushes(*day_.campaign);
  while (!line_.empty() && line_.top().time < kEnd) {
    const Happening next = line_.top();
    line_.pop();
    now_ = next.time;
    happen(next);
  }
  return traffic_;
}

void Fleet::plan(double delay, Happening::Kind kind, std::uint32_t device, std::uint64_t detail) {
  line_.push({now_ + delay, kind, device, devices_[device].process, detail});
}

void Fleet::planSessions() {
  const double total = std::accumulate(kHours.begin(), kHours.end(), 0.0);
  for (std::uint32_t device = 0; device < devices_.size(); ++device) {
    const double sessionsADay = about(habits_.sessionsADay);
    for (std::size_t hour = 0; hour < static_cast<std::size_t>(kEnd / kHour); ++hour) {
      const double mean = sessionsADay * kHours[hour % kHours.size()] / total;
      for (int left = std::poisson_distribution<int>(mean)(random_); left > 0; --left) {
        plan((static_cast<double>(hour) + chance()) * kHour, Happening::Kind::start, device);
      }
    }
  }
}

void Fleet::planPushes(double at) {
  for (std::uint32_t device = 0; device < devices_.size(); ++device) {
    const double reaction = at + 60 * chance() + about(habits_.reactsAfter);
    const double what = chance();
    if (what < habits_.dismissesPush) {
      plan(reaction, Happening::Kind::dismissal, device);
    } else if (what < habits_.dismissesPush + habits_.opensPush) {
      plan(reaction, Happening::Kind::start, device);
    }
  }
}

void Fleet::happen(const Happening& what) {
  using Kind = Happening::Kind;
  Device& device = devices_[what.device];
  if (what.kind == Kind::start) return startSession(device, what.device);
  if (what.kind == Kind::dismissal) {
    ++device.queued;
    return flush(device, what.device);
  }
  if (what.process != device.process) return;  // what the process waited for ended with it
  switch (what.kind) {
    case Kind::end:
      device.queued += std::poisson_distribution<int>(habits_.eventsASession)(random_) + 1;
      return flush(device, what.device);
    case Kind::segmentAnswer:
      if (chance() >= habits_.isShown) return;
      device.queued += 3;
      return flush(device, what.device);
    case Kind::eventsAnswer:
      return eventsAnswered(device, what.device, what.detail != 0);
    case Kind::retry:
      if (!device.isFlushing && device.retry.isDue(what.detail)) sendEvents(device, what.device);
      return;
    default:
      return;
  }
}

bool Fleet::request(Service service, double& duration) {
  traffic_.count(service, now_);
  const bool fails = day_.outage && now_ >= day_.outage->from && now_ < day_.outage->to;
  duration = fails ? day_.outage->failsAfter : kAnswersAfter;
  return !fails;
}

void Fleet::startSession(Device& device, std::uint32_t number) {
  if (now_ < device.inSessionUntil) return;
  if (chance() < habits_.newProcess) {
    ++device.process;
    device.retry = {};
    device.isFlushing = device.isFlushWanted = false;
    device.triggersFetched = 0;
  }
  const double length = about(habits_.sessionLength);
  device.inSessionUntil = now_ + length;
  double duration = 0;
  request(Service::inbox, duration);
  const bool isFetchDue =
      device.triggersFetched == 0 || static_cast<double>(device.triggersFetched) + habits_.triggerInterval <= now_;
  if (isFetchDue && request(Service::triggers, duration)) device.triggersFetched = static_cast<std::int64_t>(now_);
  if (!device.sentCategories) device.sentCategories = request(Service::categories, duration);
  if (chance() < habits_.meetsCampaign) {
    request(Service::segments, duration);
    plan(duration, Happening::Kind::segmentAnswer, number);
  }
  plan(length, Happening::Kind::end, number);
}

/// As the library's sender does it: one request after another, and flushes that come meanwhile are one.
void Fleet::flush(Device& device, std::uint32_t number) {
  if (device.isFlushing) {
    device.isFlushWanted = true;
  } else if (device.retry.mayAsk(now_)) {
    sendEvents(device, number);
  }
}

void Fleet::sendEvents(Device& device, std::uint32_t number) {
  device.isFlushWanted = false;
  if (device.queued == 0) return;
  device.isFlushing = true;
  device.inRequest = device.queued;
  double duration = 0;
  const bool success = request(Service::events, duration);
  plan(duration, Happening::Kind::eventsAnswer, number, success ? 1 : 0);
}

void Fleet::eventsAnswered(Device& device, std::uint32_t number, bool success) {
  device.isFlushing = false;
  if (success) {
    device.queued -= device.inRequest;
    device.retry.succeeded();
    if (device.isFlushWanted) sendEvents(device, number);
    return;
  }
  const double retryAfter = day_.outage->tellsWhenItIsBack ? std::max(0.0, day_.outage->to - now_) : 0;
  const auto retry = device.retry.failed(now_, retryAfter, chance());
  plan(retry.pause, Happening::Kind::retry, number, retry.ticket);
}

}  // namespace fleet
