// What a server has to bear from a hundred thousand devices: on a usual day, after a push to all, and through an outage
// of an hour at the busiest time of the day. Prints the tables of docs/fleet.md; fails where an outage makes more than
// twice the usual peak.

#include <algorithm>
#include <cstdio>

#include "Benchmarks/Fleet/Fleet.h"
#include "ZintarCore/HttpTransport.h"

namespace {

using fleet::kHour;
using fleet::Service;
using fleet::Traffic;

constexpr double kTenMillion = 10'000'000;
constexpr double kMinute = 60;
constexpr double kFrom = 20 * kHour;  // the outage
constexpr double kTo = kFrom + kHour;
constexpr double kMost = 2;  // times the usual peak

struct Row {
  const char* name;
  std::optional<Service> service;
};

std::vector<Row> rows() {
  std::vector<Row> rows;
  for (std::size_t i = 0; i < fleet::kServices.size(); ++i) {
    rows.push_back({fleet::kServices[i], static_cast<Service>(i)});
  }
  rows.push_back({"all", std::nullopt});
  return rows;
}

void printUsualDays(const fleet::Habits& habits, const Traffic& usual, const Traffic& withPush) {
  const double scale = kTenMillion / habits.devices;
  std::printf(
      "| service | requests a device a day | average | busiest minute | ten million: average | busiest minute "
      "| after a push to all |\n|---|---:|---:|---:|---:|---:|---:|\n");
  for (const Row& row : rows()) {
    const double average = usual.average(row.service, 0, 24 * kHour);
    const double peak = usual.peak(row.service, 0, 24 * kHour, kMinute);
    const double pushed = withPush.peak(row.service, 0, 24 * kHour, kMinute);
    std::printf("| %s | %.2f | %.1f | %.1f | %.0f | %.0f | %.0f (%.1f x) |\n", row.name,
                average * 24 * kHour / habits.devices, average, peak, average * scale, peak * scale, pushed * scale,
                pushed / peak);
  }
}

/// Returns the highest of the compared peaks.
double printOutage(const char* title, const fleet::Habits& habits, const Traffic& normal, const fleet::Day& day) {
  const double scale = kTenMillion / habits.devices;
  const Traffic traffic = fleet::Fleet(habits, day).run();
  std::printf(
      "\n%s\n\n| service | during | first ten minutes after | later | ten million: during | after |\n"
      "|---|---:|---:|---:|---:|---:|\n",
      title);
  double worst = 0;
  for (const Row& row : rows()) {
    const double peak = normal.peak(row.service, 0, 24 * kHour, kMinute);
    const double during = traffic.peak(row.service, kFrom, kTo, kMinute);
    const double first = traffic.peak(row.service, kTo, kTo + 10 * kMinute, kMinute);
    const double later = traffic.peak(row.service, kTo + 10 * kMinute, fleet::Fleet::kEnd, kMinute);
    std::printf("| %s | %.1f (%.2f x) | %.1f (%.2f x) | %.1f (%.2f x) | %.0f | %.0f |\n", row.name, during,
                during / peak, first, first / peak, later, later / peak, during * scale,
                std::max(first, later) * scale);
    worst = std::max({worst, during / peak, first / peak, later / peak});
  }
  const auto burst = [](const Traffic& of, double from, double to) {
    return of.peak(std::nullopt, from, to, Traffic::kInterval);
  };
  const double tenSeconds = burst(traffic, kFrom, fleet::Fleet::kEnd) / burst(normal, 0, 24 * kHour);
  std::printf("\nBusiest ten seconds, all services: %.2f times the usual ones.\n", tenSeconds);
  return std::max(worst, tenSeconds);
}

}  // namespace

int main() {
  const fleet::Habits habits;
  const fleet::Day pushed{.campaign = kFrom + kHour / 2};
  const Traffic usual = fleet::Fleet(habits, {}).run();
  const Traffic withPush = fleet::Fleet(habits, pushed).run();
  std::printf("%d devices, requests a second\n\n", habits.devices);
  printUsualDays(habits, usual, withPush);

  const auto outage = [](double failsAfter, bool tells) { return fleet::Outage{kFrom, kTo, failsAfter, tells}; };
  const double limit = zn::HttpTransport::Options{}.timeout;
  double worst = 0;
  const auto print = [&](const char* title, const Traffic& normal, const fleet::Day& day) {
    worst = std::max(worst, printOutage(title, habits, normal, day));
  };
  print("Connections are refused, or 503:", usual, {.outage = outage(0.05, false)});
  print("Requests hang until the device's time limit:", usual, {.outage = outage(limit, false)});
  print("503 with the time of its end in `Retry-After`:", usual, {.outage = outage(0.05, true)});
  print("Connections are refused, and a push goes to all in the middle (times the peak of a day with that push):",
        withPush, {.outage = outage(0.05, false), .campaign = pushed.campaign});
  std::printf("\nHighest: %.2f times the usual peak; allowed: %.0f.\n", worst, kMost);
  return worst <= kMost ? 0 : 1;
}
