#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "ZNDevices/Freedesktop/DesktopStore_p.h"

namespace zn {

/// The application's end of UnifiedPush: it registers with a distributor of the session, keeps the registration, and
/// takes messages. A distributor that comes late, comes back, or forgets the registration is registered with again.
///
/// Thread: any for `registerForPush` and `isRegistered`; the bus's for the rest and for everything that it calls.
class PushConnector : public SessionBus::Part {
 public:
  struct Receiver {
    /// The endpoint to which a server posts, when it is new to this process.
    std::function<void(const std::string& endpoint)> registered;
    /// Why there is none; it is tried again.
    std::function<void(const std::string& why)> failed;
    /// A message. False where it cannot be kept now: its distributor is told to send it again. `isRepeated`: that is
    /// what happened.
    std::function<bool(const Data& message, const std::string& identifier, bool isRepeated)> received;
  };

  PushConnector(Device& device, SessionBus& bus, const std::string& file, std::string applicationID,
                std::string description, Receiver receiver);

  void registerForPush();
  bool isRegistered() const { return isRegistered_; }

  void connected() override;
  void disconnected() override;
  /// Whether the application's name on the bus is this process's: distributors call that name.
  void nameIsOurs(bool isOurs);

 private:
  enum class Version { second, first };

  void exportConnector();
  void findDistributor();
  void listNames(const char* method, std::vector<std::string> found,
                 std::function<void(std::vector<std::string>)> then);
  void registerWith(const std::string& distributor, Version version);
  void answered(Version version, BusMessage& answer, const std::string& error);
  void hinder(const std::string& why);
  void fail(const std::string& why);
  void tryLater();
  void newEndpoint(const std::string& token, const std::string& endpoint);
  void unregistered(const std::string& token);
  void message(BusCall call, const std::string& token, const Data& bytes, const std::string& identifier);
  Value state() const;
  void load();

  Device& device_;
  SessionBus& bus_;
  const std::string applicationID_;
  const std::string description_;
  const Receiver receiver_;
  DesktopStore store_;
  std::atomic<bool> isRegistered_{false};

  bool isWanted_ = false;
  bool isNameOurs_ = false;
  std::string hindrance_;  // why it is not, where that is known
  bool isAsking_ = false;
  std::string token_;        // by which distributors know this registration
  std::string distributor_;  // the one in use, or used last
  std::string endpoint_;     // a secret: whoever knows it may push
  std::string told_;         // the endpoint that the receiver knows
  std::string lastFailure_;
  double pause_ = 0;  // seconds
  std::uint64_t attempts_ = 0;
  std::deque<std::string> seen_;    // identifiers of the newest messages
  std::deque<std::string> unkept_;  // of those that were taken but could not be kept
};

}  // namespace zn
