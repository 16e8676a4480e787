#pragma once

#include <memory>
#include <string>

#include "ZNPlatform/PooledQueues.h"

namespace zn {

/// The default device: real clock, files below a home folder, a main queue on a thread of its own or pumped by the
/// host, a small pool of threads for background work; no notifications and no screen.
///
///     zn::HeadlessDevice::Options options;
///     options.home = "/var/lib/my-app/zintar";
///     options.mainQueue = zn::HeadlessDevice::MainQueue::pumped;
///     auto device = std::make_shared<zn::HeadlessDevice>(options);
///     zn::Device::install(device);
///     // in the host's event loop, when device->wakeDescriptor() is readable:
///     device->runPending();
class ZN_EXPORT HeadlessDevice : public Device {
 public:
  using MainQueue = PooledQueues::MainQueue;
  struct Options {
    /// Folder for all files; made when missing. Default: `$XDG_DATA_HOME/<applicationID>`, or
    /// `~/.local/share/<applicationID>`.
    std::string home;
    std::string applicationID = "zintar";
    MainQueue mainQueue = MainQueue::ownThread;
    /// 0: what is queued for the background runs on the main queue.
    /// The device's threads take over the blocked signals of the thread that makes it: a host that waits for signals
    /// blocks them before.
    unsigned backgroundThreads = 2;
    /// For another process on an application's home, such as a notification service extension: it does not take the
    /// home's lock, and may use NSUserDefaults, which processes share, and nothing else that keeps files.
    bool sharedStoresOnly = false;
  };

  /// Throws Exception when the home folder cannot be made, or is in use by another process (one process per home; a
  /// lock file says so).
  explicit HeadlessDevice(Options options);
  HeadlessDevice();  ///< with default options
  ~HeadlessDevice() override;

  // For a pumped main queue; call these on the thread that made the device. Anywhere else the first two run nothing.

  /// Runs the main-queue tasks that are due, including those queued meanwhile, and returns how many ran.
  std::size_t runPending();
  /// Waits up to `seconds` for a task to fall due, then runs what is due. Returns how many ran.
  std::size_t runFor(double seconds);
  /// A file descriptor that is readable while tasks are due (poll, epoll, or an event loop's socket notifier). Only
  /// poll it. -1 when the main queue has a thread of its own.
  int wakeDescriptor() const;

  /// Waits until nothing is queued for at once or running on the main and the global queue, and returns true: all that
  /// was started has come to its end. Delayed tasks count from the moment they start; what other threads do, such as a
  /// request under way, counts once it queues a task. Thread: any; the one that pumps the main queue runs that
  /// meanwhile. Called from within a task of this device it returns false at once, because it would wait for itself.
  bool waitUntilIdle();

  /// From now on nothing that is queued runs. Waits for running tasks; called from within a task of this device it
  /// waits for the other ones only. At the normal end of the process it waits for 2 seconds at most: a task that waits
  /// for what the host no longer does is then named as a diagnostic and left behind. May be called again.
  void shutDown() override;

 private:
  friend class Device;
  HeadlessDevice(const Options& options, std::unique_ptr<DeviceDirectories> folders);
  static std::shared_ptr<Device> makeDefault(std::string& trouble);

  PooledQueues pool_;
};

}  // namespace zn
