#include "ZNDevices/Simulator/SimulatedApplication_p.h"

#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "ZNPlatform/Foundation/TemporaryFolder_p.h"

namespace zn {

namespace {

/// In memory where the machine has room there: on a disk every save waits until it is safe, which nothing that is
/// thrown away needs.
std::filesystem::path parentOfTemporaryHome() {
  constexpr const char* kMemory = "/dev/shm";
  constexpr std::uint64_t kRoom = std::uint64_t{512} << 20;
  struct statvfs status {};
  const bool isThere = ::access(kMemory, W_OK | X_OK) == 0 && ::statvfs(kMemory, &status) == 0;
  const bool hasRoom = isThere && std::uint64_t{status.f_bavail} * status.f_frsize >= kRoom;
  return hasRoom && !std::getenv("TMPDIR") ? kMemory : systemTemporaryFolder();
}

}  // namespace

void SimulatedApplication::setBadge(long number) {
  setBadgeSilently(number);
  effects_->emit("badge", number);
}

void SimulatedApplication::registerForRemoteNotifications() { effects_->emit("registered", "remote"); }

UIBackgroundTaskIdentifier SimulatedApplication::beginBackgroundTask(std::function<void()> expirationHandler) {
  UIBackgroundTaskIdentifier identifier;
  {
    Lock lock(mutex_);
    identifier = ++lastTask_;
    tasks_.emplace(identifier, std::move(expirationHandler));
  }
  effects_->emit("backgroundTask", "begin");
  return identifier;
}

void SimulatedApplication::endBackgroundTask(UIBackgroundTaskIdentifier identifier) {
  std::function<void()> handler;  // destroyed outside the lock: it may own anything
  {
    Lock lock(mutex_);
    const auto found = tasks_.find(identifier);
    if (found == tasks_.end()) return;
    handler = std::move(found->second);
    tasks_.erase(found);
  }
  effects_->emit("backgroundTask", "end");
}

void SimulatedApplication::expireBackgroundTasks(DeviceSystemLog& log) {
  std::vector<std::function<void()>> handlers;
  {
    Lock lock(mutex_);
    for (auto& [identifier, handler] : tasks_) {
      if (handler) handlers.push_back(std::exchange(handler, nullptr));
    }
  }
  for (const auto& handler : handlers) runTask(handler, log);
}

SimulatedDirectories::SimulatedDirectories(const std::string& home, EffectSinkPtr effects)
    : HomeDirectories(home.empty() ? makeTemporaryFolder("zinsim", parentOfTemporaryHome()) : absolutePath(home)),
      effects_(std::move(effects)),
      isTemporary_(home.empty()) {}

SimulatedDirectories::~SimulatedDirectories() { removeIfTemporary(); }

void SimulatedDirectories::removeIfTemporary() {
  if (!isTemporary_ || std::exchange(isRemoved_, true)) return;
  std::error_code ignored;
  std::filesystem::remove_all(home(), ignored);
}

std::string SimulatedDirectories::withoutTemporaryHome(std::string text) const {
  if (!isTemporary_) return text;
  const std::string folder = home();
  for (std::size_t at = 0; (at = text.find(folder, at)) != std::string::npos; ++at)
    text.replace(at, folder.size(), "~");
  return text;
}

void SimulatedDirectories::showSaved(const std::string& file) const {
  if (file == library() + "/ZNInbox/InboxData") effects_->emit("saved", "inbox");
  if (file == library() + "/ZinDeviceTriggers") effects_->emit("saved", "triggers");
}

}  // namespace zn
