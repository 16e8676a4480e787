// A push on its way through a session of its own: from the POST to zindistributor until the notification server is
// called. How often the application wakes up while nothing happens. And how long zinhost takes until its window is
// drawn.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <thread>

#include "Tests/Devices/DistributorProcess.h"
#include "Tests/Devices/ScriptedServer.h"
#include "ZNDevices/Freedesktop/FreedesktopDevice.h"
#include "ZNMessaging/ZNInbox/ZNInboxHandler.h"
#include "ZNPlatform/Foundation/File.h"
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

double medianOf(std::vector<double> times) {
  std::sort(times.begin(), times.end());
  return times[times.size() / 2];
}

#ifdef ZN_ZINHOST
/// With an inbox of a thousand messages, without a display. Prints its parts, which zinhost tells, and the whole.
void startShop(const zn::test::PrivateSession& session, const std::string& application) {
  constexpr int kStarts = 11;
  zn::Value entries = zn::Value::array();
  const auto now = static_cast<double>(std::time(nullptr));  // what is old leaves the inbox
  for (int i = 0; i < 1000; ++i) {
    const zn::Value alert =
        zn::Value::dictionary({{"title", "Sale " + std::to_string(i)}, {"body", "Half price today"}});
    entries.append(zn::Value::dictionary(
        {{"data", zn::Value::dictionary({{"aps", zn::Value::dictionary({{"alert", alert}})},
                                         {"zintar", zn::Value::dictionary({{"cid", "sale-" + std::to_string(i)}})}})},
         {"c_cr_t", now - i}}));
  }
  ZNInboxHandler::sharedInstance()->resetInboxDataWithLegacyPayloadArray(entries);
  const std::string home = session.path("shop");
  std::filesystem::create_directories(home + "/Library");
  std::filesystem::copy(application + "/Library/ZNInbox", home + "/Library/ZNInbox",
                        std::filesystem::copy_options::recursive);
  zn::test::Environment environment = session.environment();
  environment["QT_QPA_PLATFORM"] = "offscreen";
  std::map<std::string, std::vector<double>> parts;
  std::vector<std::string> order;
  for (int i = 0; i < kStarts; ++i) {
    const auto start = Clock::now();
    double told = 0;
    zn::test::Process shop({ZN_ZINHOST, "--configuration", ZN_ZINHOST_CONFIGURATION, "--home", home, "--time-start"},
                           environment);
    const auto add = [&](const std::string& part, double took) {
      if (i == 0) order.push_back(part);
      parts[part].push_back(took);
    };
    for (std::string line = shop.line(); !line.empty(); line = shop.line()) {
      const std::size_t number = line.find_last_not_of("0123456789. ms") + 1;
      add(line.substr(0, number), std::atof(line.c_str() + number));
      told += parts[line.substr(0, number)].back();
    }
    add("the whole", millisecondsSince(start));
    add("before its main", parts["the whole"].back() - told);
  }
  for (const std::string& part : order)
    std::printf("zinhost: %-16s median %6.1f ms\n", part.c_str(), medianOf(parts[part]));
}
#endif

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
  distributor.logged("new endpoint");
  // Registering is over when its file has the endpoint.
  std::string token;
  for (int tries = 0; token.empty() && tries < 100; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const zn::Data bytes = zn::readFile(options.home + "/Library/DesktopPush").value_or(zn::Data());
    token.assign(bytes.begin(), bytes.end());
    if (zn::parseJson(token).value_or(zn::nil)["endpoint"].length() == 0) token.clear();
  }
  const auto subscription = zn::test::Subscription::of(token);

  std::vector<double> times;
  for (int i = 1; i <= kPushes; ++i) {
    const std::string number = std::to_string(i);
    const auto start = Clock::now();
    const int status = zn::test::push(
        subscription.endpoint, subscription.sealed(R"({"aps": {"alert": {"title": "Sale", "body": "No. )" + number +
                                                   R"("}}, "zintar": {"cid": "sale-)" + number + R"("}})"));
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
#ifdef ZN_ZINHOST
  startShop(session, options.home);
#endif
  return 0;
}

}  // namespace

int main() { return run(); }
