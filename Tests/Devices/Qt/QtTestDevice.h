#pragma once

#include <QApplication>
#include <QEventLoop>
#include <QTimer>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Tests/Support/PlainDevice.h"
#include "Tests/Support/TestHome.h"
#include "ZNDevices/Qt/QtDevice.h"

namespace zn::test {

/// Lets Qt's event loop run until `done` says so, for that many seconds at most.
inline bool runQtUntil(const std::function<bool()>& done, double seconds = 20) {
  QEventLoop loop;
  QTimer tick;
  QTimer end;
  QObject::connect(&tick, &QTimer::timeout, &loop, [&] {
    if (done()) loop.quit();
  });
  QObject::connect(&end, &QTimer::timeout, &loop, &QEventLoop::quit);
  end.setSingleShot(true);
  end.start(static_cast<int>(seconds * 1000));
  tick.start(1);
  if (!done()) loop.exec();
  return done();
}

/// A Qt device on a home of its own, without a session.
class QtTestDevice {
 public:
  QtTestDevice() {
    QtDevice::Options options;
    options.home = folder_ / "home";
    options.busAddress = "unix:path=" + (folder_ / "no-bus");
    device_ = std::make_shared<QtDevice>(options);
    auto log = std::make_unique<RecordingLog>();
    log_ = log.get();
    device_->systemLog = std::move(log);
  }
  ~QtTestDevice() { device_->shutDown(); }

  const std::shared_ptr<QtDevice>& device() { return device_; }
  RecordingLog& log() { return *log_; }

 private:
  MemoryFolder folder_;
  std::shared_ptr<QtDevice> device_;
  RecordingLog* log_ = nullptr;
};

}  // namespace zn::test
