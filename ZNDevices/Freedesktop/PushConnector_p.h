#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ZNDevices/Freedesktop/DesktopStore_p.h"
#include "ZNDevices/Freedesktop/WebPush/PushMessage_p.h"

namespace zn {

/// The application's end of UnifiedPush: it registers with a distributor of the session, keeps the registration with
/// its keys, and takes messages, which it decrypts. A distributor that comes late, comes back, or forgets the
/// registration is registered with again. Registrations whose keys were lost, or that belonged to somebody else, are
/// ended, and made anew.
///
/// Thread: any for `registerForPush` and `isRegistered`; the bus's for the rest and for everything that it calls.
class PushConnector : public SessionBus::Part {
 public:
  struct Receiver {
    /// What a server needs, as JSON, when it is new to this process: the endpoint to which it posts, and the keys.
    std::function<void(const std::string& subscription)> registered;
    /// Why there is none; it is tried again.
    std::function<void(const std::string& why)> failed;
    /// A message, decrypted. False where it cannot be kept now: its distributor is told to send it again.
    /// `isRepeated`: that is what happened.
    std::function<bool(std::string_view message, const std::string& identifier, bool isRepeated)> received;
  };
  struct Options {
    std::string applicationID;
    std::string description;
    std::string vapidKey;  // the only sender's; empty: anybody's
    bool acceptsPlainMessages = false;
  };

  PushConnector(Device& device, SessionBus& bus, const std::string& file, Options options, Receiver receiver);

  void registerForPush();
  bool isRegistered() const { return isRegistered_; }
  /// Once, before the bus is connected. `owner`: as for the next.
  void start(const std::string& owner);
  /// A registration that was made for another owner is ended, and made anew.
  void belongsTo(const std::string& owner);

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
  void forget();
  void endFormer(Version version);
  std::string subscription() const;
  void message(BusCall call, const std::string& token, const Data& bytes, const std::string& identifier);
  /// A message's text, and what tells it from all others; without a text it is not to be used.
  struct Message {
    std::optional<Data> text;
    std::string identity;
  };
  Message opened(const Data& bytes, const std::string& identifier) const;
  void leave(const std::string& why) const;
  Value state() const;
  void load();

  Device& device_;
  SessionBus& bus_;
  const Options options_;
  const Receiver receiver_;
  DesktopStore store_;
  std::atomic<bool> isRegistered_{false};

  bool isWanted_ = false;
  bool isNameOurs_ = false;
  std::string hindrance_;  // why it is not, where that is known
  bool isAsking_ = false;
  std::string owner_;
  std::string token_;                     // by which distributors know this registration
  Value keptKeys_;                        // until the start, which takes the time to look at them
  std::optional<webpush::Secrets> keys_;  // there are some where there is a token
  std::deque<std::string> former_;        // tokens of registrations that are still to be ended
  std::string distributor_;               // the one in use, or used last
  std::string endpoint_;                  // a secret: who knows it may send messages, if not readable ones
  std::string told_;                      // the subscription that the receiver knows
  std::string lastFailure_;
  double pause_ = 0;  // seconds
  std::uint64_t attempts_ = 0;
  std::deque<std::string> seen_;    // identities of the newest messages
  std::deque<std::string> unkept_;  // of those that were taken but could not be kept
};

}  // namespace zn
