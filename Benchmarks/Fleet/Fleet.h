#pragma once

// Devices and their users in virtual time, and what their library asks of its server.

#include <array>
#include <cstdint>
#include <optional>
#include <queue>
#include <random>
#include <vector>

#include "ZintarCore/RetryPolicy_p.h"

namespace fleet {

constexpr double kHour = 3600;

/// What is assumed of users, hosts and campaigns.
struct Habits {
  int devices = 100'000;
  double sessionsADay = 4;     ///< on average; some users come often, most seldom
  double sessionLength = 180;  ///< seconds, on average
  double newProcess = 0.5;     ///< share of the sessions that start the application; the others return to it
  double eventsASession =
      12;  ///< sent by one flush, when the session ends: the fewest requests that a host can do with
  double meetsCampaign = 0.1;   ///< share of the sessions in which an event sets off a device trigger
  double isShown = 0.5;         ///< share of these that are shown: by the server's word, or without it where it is away
  double withNewVersion = 0.1;  ///< share of the devices that got a new version that day, and so send their categories
  double triggerInterval = kHour;
  double dismissesPush = 0.15;
  double opensPush = 0.06;
  double reactsAfter = 600;  ///< seconds, on average, until a push is dismissed or opened
};

enum class Service { events, inbox, triggers, segments, categories };
constexpr std::array kServices = {"events", "inbox", "device triggers", "user in segment", "categories"};

struct Outage {
  double from;
  double to;
  double failsAfter;       ///< seconds until a request has failed
  bool tellsWhenItIsBack;  ///< answers 503 with a `Retry-After` of the time that is left
};

struct Day {
  std::optional<Outage> outage = {};
  std::optional<double> campaign = {};  ///< when a push is sent to all, within a minute
};

/// Requests as they were begun, of each service, in intervals of ten seconds.
class Traffic {
 public:
  static constexpr double kInterval = 10;
  void count(Service service, double time);
  /// Requests a second, on average, of a service or, without one, of all.
  double average(std::optional<Service> service, double from, double to) const;
  /// The same in the busiest window of that many seconds.
  double peak(std::optional<Service> service, double from, double to, double window) const;

 private:
  double at(std::optional<Service> service, std::size_t interval) const;
  std::array<std::vector<double>, kServices.size()> counts_;
};

class Fleet {
 public:
  static constexpr double kEnd = 27 * kHour;
  Fleet(const Habits& habits, const Day& day);
  Traffic run();

 private:
  struct Device {
    zn::RetryPolicy retry;
    int queued = 0;  // events
    int inRequest = 0;
    unsigned process = 0;
    bool isFlushing = false;
    bool isFlushWanted = false;
    bool sentCategories = true;
    double inSessionUntil = 0;
    std::int64_t triggersFetched = 0;  // as the library keeps it: while the process lives
  };
  struct Happening {
    enum class Kind { start, end, dismissal, segmentAnswer, eventsAnswer, retry };
    double time;
    Kind kind;
    std::uint32_t device;
    unsigned process = 0;
    std::uint64_t detail = 0;  // a retry's ticket; whether an answer is one
    bool operator>(const Happening& other) const { return time > other.time; }
  };

  void planSessions();
  void planPushes(double at);
  void happen(const Happening& what);
  void startSession(Device& device, std::uint32_t number);
  void flush(Device& device, std::uint32_t number);
  void sendEvents(Device& device, std::uint32_t number);
  void eventsAnswered(Device& device, std::uint32_t number, bool success);
  /// Counts a request and says whether it will succeed, and after how many seconds.
  bool request(Service service, double& duration);
  void plan(double delay, Happening::Kind kind, std::uint32_t device, std::uint64_t detail = 0);
  double chance() { return std::uniform_real_distribution<double>(0, 1)(random_); }
  double about(double mean) { return std::exponential_distribution<double>(1 / mean)(random_); }

  const Habits habits_;
  const Day day_;
  std::mt19937_64 random_{1};
  std::vector<Device> devices_;
  std::priority_queue<Happening, std::vector<Happening>, std::greater<>> line_;
  double now_ = 0;
  Traffic traffic_;
};

}  // namespace fleet
