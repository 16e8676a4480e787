#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Apps/Push/Message.h"
#include "Apps/Push/Subscription.h"
#include "ZNDevices/Freedesktop/WebPush/P256Key_p.h"

namespace push {

enum class Outcome {
  accepted,  ///< by the push server, for the device
  gone,      ///< the subscription is to be forgotten
  tooLarge,
  slowDown,       ///< nothing is sent to that push server for a while
  senderRefused,  ///< devices subscribed for another sender's key
  notReached,     ///< the push never left
  failed,         ///< anything else
};

/// One word, for programs.
const char* nameOf(Outcome outcome);
std::optional<Outcome> outcomeNamed(std::string_view name);

struct Result {
  Outcome outcome = Outcome::failed;
  std::string text{};     ///< the same for people; shows neither payload nor endpoint
  double retryAfter = 0;  ///< seconds; 0: not said
};

/// Encrypts messages for devices and posts them to their push servers. Connections are kept for the next message, and
/// so is what shows a push server who sends. TLS is verified, redirects are not followed, and proxies are taken from
/// the environment except for this machine. Thread: one at a time, but for `stop`.
class Sender {
 public:
  struct Options {
    /// Whom a push server's people may turn to: a URL of mailto or https. "": nobody.
    std::string contact{};
    double connectTimeout = 10;  ///< seconds
    double timeout = 30;         ///< seconds for a whole push
    /// File of certificate authorities (PEM) that are trusted instead of the system's; "": the system's.
    std::string certificateAuthorities{};
  };

  Sender(zn::P256Key key, Options options);
  ~Sender();

  const zn::P256Key& key() const { return key_; }
  /// Waits for the push server's answer. Throws zn::Exception only where a library fails.
  Result send(const Subscription& to, const Message& message);
  /// Breaks off what is under way, and lets nothing follow. Thread: any.
  void stop() { stopped_ = true; }

 private:
  class Transfer;
  const std::string& authorizationFor(const std::string& origin);

  struct Authorization {
    std::string text;
    std::int64_t expires;
  };
  const zn::P256Key key_;
  const Options options_;
  std::atomic<bool> stopped_ = false;
  std::map<std::string, Authorization> authorizations_;  // by origin
  std::unique_ptr<Transfer> transfer_;
};

/// Throws zn::Exception for what is no URL of mailto or https; the text begins with "contact".
void checkContact(const std::string& contact);

}  // namespace push
