#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Tests/Support/TestHome.h"
#include "ZNPlatform/Device.h"
#include "ZNPlatform/Foundation/Format.h"
#include "ZNPlatform/Foundation/Json.h"
#include "ZNPlatform/Foundation/Mutex.h"
#include "ZNPlatform/HeadlessDevice.h"
#include "ZintarCore/ZNConfigDataManager.h"
#include "ZintarCore/ZNLogger.h"

namespace zn::test {

inline Value json(std::string_view text) { return parseJson(text).value(); }

/// A clock that stands still until a test moves it.
class ManualClock : public DeviceClock {
 public:
  explicit ManualClock(double start) : now_(start) {}
  Date now() const override { return Date{now_}; }
  long secondsFromGMT(Date) const override { return 0; }
  void set(double seconds) { now_ = seconds; }

 private:
  std::atomic<double> now_;
};

/// One that does something the first time that someone looks at it in that situation.
class WatchedClock : public ManualClock {
 public:
  WatchedClock() : ManualClock(1700000000) {}
  Date now() const override {
    if (isTheMoment && isTheMoment()) {
      isTheMoment = nullptr;
      action();
    }
    return ManualClock::now();
  }
  mutable std::function<bool()> isTheMoment;
  std::function<void()> action;
};

/// The process's device for a test: headless, a home of its own, a pumped main queue, a manual clock and an active
/// account. Log lines and failures are collected.
class TestDevice {
 public:
  explicit TestDevice(HeadlessDevice::MainQueue mainQueue = HeadlessDevice::MainQueue::pumped,
                      std::unique_ptr<DeviceNotifications> notifications = nullptr,
                      const std::filesystem::path& parentOfHome = MemoryFolder::parent())
      : folder_("zntest", parentOfHome) {
    HeadlessDevice::Options options;
    options.home = folder_ / "home";
    options.mainQueue = mainQueue;
    device_ = std::make_shared<HeadlessDevice>(options);
    auto clock = std::make_unique<ManualClock>(1700000000);
    clock_ = clock.get();
    device_->clock = std::move(clock);
    if (notifications) device_->notifications = std::move(notifications);
    Device::install(device_);
    ZNConfigDataManager::sharedInstance()->apply(Value::dictionary(
        {{"accountActive", true}, {"inboxServiceActive", true}, {"appID", "app-1"}, {"appGroupID", "group.test"}}));
    ZNLogger::sharedInstance()->setObserver([this](const ZNLogger::Line& line) {
      Lock lock(mutex_);
      lines_.push_back(line);
    });
  }
  ~TestDevice() {
    device_->shutDown();
    ZNLogger::sharedInstance()->setObserver(nullptr);
  }

  HeadlessDevice& device() { return *device_; }
  ManualClock& clock() { return *clock_; }
  WatchedClock& watchClock() {
    device_->clock = std::make_unique<WatchedClock>();
    return static_cast<WatchedClock&>(*device_->clock);
  }
  std::string home() const { return device_->directories->home(); }
  std::string inboxFile() const { return home() + "/Library/ZNInbox/InboxData"; }

  std::vector<std::string> log() const {
    Lock lock(mutex_);
    std::vector<std::string> texts;
    for (const auto& line : lines_) texts.push_back(line.text);
    return texts;
  }
  std::vector<ZNLogger::Line> failures() const {
    Lock lock(mutex_);
    std::vector<ZNLogger::Line> found;
    for (const auto& line : lines_) {
      if (!line.operation.empty()) found.push_back(line);
    }
    return found;
  }

 private:
  const zn::TemporaryFolder folder_;
  std::shared_ptr<HeadlessDevice> device_;
  ManualClock* clock_ = nullptr;
  mutable Mutex mutex_;
  std::vector<ZNLogger::Line> lines_ ZN_GUARDED_BY(mutex_);
};

/// A push payload of the module's own with realistic contents (about 700 bytes as JSON).
inline Value realisticPayload(const std::string& campaign, double received = 0) {
  Value payload = json(zn::format(R"({
      "aps": {"alert": {"title": "Your order %@ is on its way", "subtitle": "Parcel 2 of 3",
                        "body": "The courier comes between 14:00 and 16:00."},
              "sound": "chime.caf", "category": "ORDER_STATUS", "badge": 1, "mutable-content": 1},
      "zintar": {"cid": "%@", "app_id": "app-1", "webUrl": "https://shop.example/deals/autumn?utm_source=push",
                 "media-attachment": "https://cdn.example/images/%@.jpg", "media-type": "image",
                 "segment": "returning-customers", "variant": 2},
      "app_extra": {"screenName": "OrderDetails", "screenData": {"order": "%@", "tab": "tracking"},
                    "zin_deeplink": "shop://orders/%@"},
      "zinFeatures": {"richPush": {"displayName": "order-status"}}})",
                                  campaign, campaign, campaign, campaign, campaign));
  if (received > 0) {
    Value zintar = payload["zintar"];
    zintar.setObjectNilHandled(received, "received_epoch_val");
    payload.setObjectNilHandled(zintar, "zintar");
  }
  return payload;
}

}  // namespace zn::test
