#include "ZNPlatform/Device.h"

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "ZNPlatform/EndOfProcess_p.h"
#include "ZNPlatform/Foundation/Exception.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/Foundation/NeverDestroyed.h"
#include "ZNPlatform/Foundation/Unicode.h"
#include "ZNPlatform/HeadlessDevice.h"

namespace zn {

double DeviceRandom::fraction() {
  std::uint64_t bits = 0;
  if (::getentropy(&bits, sizeof bits) != 0) {
    bits =
        0x9e3779b97f4a7c15u * static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  }
  return std::ldexp(static_cast<double>(bits >> 11), -53);
}

void DeviceNotifications::requestAuthorization(unsigned, AuthorizationCompletion completion) {
  answer(std::move(completion), false, std::nullopt);
}
void DeviceNotifications::getSettings(std::function<void(const UNNotificationSettings&)> completion) {
  answer(std::move(completion), UNNotificationSettings());
}
void DeviceNotifications::add(const UNNotificationRequest&, ErrorCompletion completion) {
  answer(std::move(completion), "this device shows no notifications");
}
void DeviceNotifications::getPending(std::function<void(const std::vector<UNNotificationRequest>&)> completion) {
  answer(std::move(completion), std::vector<UNNotificationRequest>());
}
void DeviceNotifications::getDelivered(std::function<void(const std::vector<UNNotification>&)> completion) {
  answer(std::move(completion), std::vector<UNNotification>());
}
void DeviceScreen::openLink(LinkKind kind, const std::string& url) {
  // A link's query and fragment carry what is between its sender and the user: tokens, names, codes.
  const std::string shown = url.substr(0, url.find_first_of("?#"));
  Device::current().systemLog->diagnostic(std::string("this device opens no links: ") +
                                          (kind == LinkKind::deeplink ? "deep link " : "landing page ") + shown);
}
void DeviceSystemLog::write(const std::string& text) { std::fputs((singleLine(text) + "\n").c_str(), stderr); }
void DeviceSystemLog::diagnostic(const std::string& text) { DeviceSystemLog::write("zintar: " + text); }

void runTask(const Task& task, DeviceSystemLog& log) {
  stopExceptions(task, [&] { log.diagnostic("an exception left a task: " + currentExceptionText()); });
}

Device::Device()
    : random(std::make_unique<DeviceRandom>()),
      application(std::make_unique<DeviceApplication>()),
      notifications(std::make_unique<DeviceNotifications>()),
      screen(std::make_unique<DeviceScreen>()),
      systemLog(std::make_unique<DeviceSystemLog>()) {}

namespace {

Mutex installation;
std::atomic<Device*> installed{nullptr};
bool isDefault ZN_GUARDED_BY(installation) = false;  // nobody installed one before the first use

/// In a clock's smallest units; 0 before the end begins.
std::atomic<std::chrono::steady_clock::rep> endsBy{0};

void beginEndOfProcess() {
  constexpr std::chrono::seconds kPatience(2);
  endsBy.store((std::chrono::steady_clock::now() + kPatience).time_since_epoch().count());
}

void installLocked(std::shared_ptr<Device> device) ZN_REQUIRES(installation) {
  static NeverDestroyed<std::shared_ptr<Device>> kept;
  *kept = std::move(device);
  installed.store(kept->get(), std::memory_order_release);
  static const pid_t process = ::getpid();
  std::atexit([] {
    if (::getpid() != process) return;  // a forked child has none of the threads that are to end
    beginEndOfProcess();
    installed.load(std::memory_order_acquire)->shutDown();
  });
}

}  // namespace

std::optional<std::chrono::steady_clock::time_point> endOfProcess() {
  using Clock = std::chrono::steady_clock;
  const Clock::rep moment = endsBy.load();
  return moment == 0 ? std::nullopt : std::optional(Clock::time_point(Clock::duration(moment)));
}

void Device::install(std::shared_ptr<Device> device) {
  if (!device) throw Exception("no device to install");
  const bool complete = device->clock && device->queues && device->random && device->directories &&
                        device->application && device->notifications && device->screen && device->systemLog;
  if (!complete) throw Exception("a device needs all its members before it is installed");
  const Lock lock(installation);
  if (installed.load(std::memory_order_acquire)) {
    throw Exception(isDefault ? "the default device is installed already, by a use of the library before this call; "
                                "call Device::install before anything else"
                              : "a device is installed already, and a process has one only");
  }
  installLocked(std::move(device));
}

Device& Device::current() {
  if (Device* device = installed.load(std::memory_order_acquire)) return *device;
  std::string trouble;
  {
    // The lock is held over making the device: until there is one, no other thread has anything else to do here.
    const Lock lock(installation);
    if (Device* device = installed.load(std::memory_order_acquire)) return *device;
    installLocked(HeadlessDevice::makeDefault(trouble));
    isDefault = true;
  }
  Device& device = *installed.load(std::memory_order_acquire);
  if (!trouble.empty()) device.systemLog->diagnostic(trouble);
  return device;
}

}  // namespace zn
