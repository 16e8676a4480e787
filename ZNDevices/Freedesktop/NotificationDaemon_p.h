#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "ZNDevices/Freedesktop/NotificationServer_p.h"

namespace zn {

/// A desktop's notification server, as the Desktop Notifications Specification has it (org.freedesktop.Notifications).
/// One that does not answer for what it can do is taken for one that can do nothing but show texts.
class NotificationDaemon : public NotificationServer {
 public:
  NotificationDaemon(SessionBus& bus, DesktopIdentity identity, Client& client)
      : bus_(bus), identity_(std::move(identity)), client_(client) {}

  void connected() override;
  void disconnected() override;

  State state() const override { return state_; }
  std::string instance() const override { return instance_; }
  bool inherits(const std::string& instance) const override;
  std::vector<std::string> missing() const override;
  void show(const Banner& banner, const std::string& replaced,
            std::function<void(const std::string& handle)> shown) override;
  void close(const std::string& handle) override;

 private:
  void ownerIs(const std::string& owner);
  void askCapabilities();
  void becomes(State state, std::set<std::string> capabilities);
  void received(BusMessage& signal);
  bool can(const char* capability) const { return capabilities_.contains(capability); }
  BusMessage makeCall(const char* member);
  void appendActions(BusMessage& call, const Banner& banner) const;
  void appendHints(BusMessage& call, const Banner& banner) const;

  SessionBus& bus_;
  const DesktopIdentity identity_;
  Client& client_;
  State state_ = State::unknown;
  std::string owner_;
  std::string instance_;
  std::set<std::string> capabilities_;
  bool isSilent_ = false;                        // it did not answer
  bool isForgetful_ = false;                     // what a sender showed goes when that leaves
  bool isFaithful_ = false;                      // it tells of a click only who sent the notification
  unsigned asked_ = 0;                           // only the newest question's answer counts
  std::map<std::uint32_t, std::string> tokens_;  // of clicks that are about to be told
};

}  // namespace zn
