// A push on its way through a session of its own: from the POST to zindistributor until the notification server is
// called. And how often the application wakes up while nothing happens.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include "Tests/Devices/DistributorProcess.h"
#include "Tests/Devices/ScriptedServer.h"
#include "ZNDevices/Freedesktop/FreedesktopDevice.h"
#include "ZNPlatform/UIKit/UIApplication.h"
#include "ZNPlatform/UserNotifications/UNUserNotificationCenter.h"
#include "ZintarCore/ZNConfigDataManager.h"

namespace {

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

/// How often this process's threads were given the processor after they had waited.
long wakes() {
  long sum = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream status(task.path() / "status");
    for (std::string key; status >> key;) {
      long number = 0;
      if (key == "voluntary_ctxt_switches:" && status >> number) sum += number;
    }
  }
  return sum;
}

int run() {
  constexpr int kPushes = 200;
  constexpr int kIdleSeconds = 20;
  zn::test::PrivateSession session;
  zn::test::ScriptedServer server(session.address(), {"actions", "body", "persistence"});
  zn::test::DistributorProcess distributor(session);
  distributor.start({"--show-endpoints"});

  zn::FreedesktopDevice::Options options;
  options.applicationID = "com.example.Benchmark";
  options.home = session.path("application");
  options.busAddress = session.address();
  const auto device = std::make_shared<zn::FreedesktopDevice>(options);
  zn::Device::install(device);
  ZNConfigDataManager::sharedInstance()->apply(
      *zn::parseJson(R"({"accountActive": true, "appID": "app-1", "appGroupID": "group.benchmark"})"));
  device->setNotificationsAllowed(true);
  UIApplication::sharedApplication()->registerForRemoteNotifications();
  device->start();
  const std::string endpoint(distributor.logged("new endpoint")["endpoint"].string());

  std::vector<double> times;
  for (int i = 1; i <= kPushes; ++i) {
    const std::string number = std::to_string(i);
    const auto start = Clock::now();
    const int status = zn::test::push(endpoint, R"({"aps": {"alert": {"title": "Sale", "body": "No. )" + number +
                                                    R"("}}, "zintar": {"cid": "sale-)" + number + R"("}})");
    if (status != 201 || server.shown.wait(static_cast<std::size_t>(i)).size() < static_cast<std::size_t>(i)) {
      std::fprintf(stderr, "push %d did not come through (status %d)\n", i, status);
      return 1;
    }
    times.push_back(millisecondsSince(start));
  }
  std::sort(times.begin(), times.end());
  std::printf("push, from the POST to the Notify call   median %5.1f ms   95 %% within %5.1f ms   (%d pushes)\n",
              times[times.size() / 2], times[times.size() * 95 / 100], kPushes);

  std::this_thread::sleep_for(std::chrono::seconds(2));
  const long before = wakes();
  std::this_thread::sleep_for(std::chrono::seconds(kIdleSeconds));
  std::printf("idle, with %d notifications shown        %.2f wakes a second\n", kPushes,
              static_cast<double>(wakes() - before - 1) / kIdleSeconds);
  return 0;
}

}  // namespace

int main() { return run(); }
