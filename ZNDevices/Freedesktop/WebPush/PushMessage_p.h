#pragma once

#include <optional>
#include <span>
#include <string>

#include "ZNDevices/Freedesktop/WebPush/P256Key_p.h"

namespace zn {

/// The message encryption of Web Push: RFC 8291 on top of RFC 8188's content coding "aes128gcm". A body is
///
///     salt (16) | record size (4, big endian) | 65 (1) | the sender's public key (65) | one encrypted record
///
namespace webpush {

inline constexpr std::size_t kAuthSize = 16;
inline constexpr std::size_t kSaltSize = 16;
inline constexpr std::size_t kMostBody = 4096;  ///< bytes; what every push server carries (RFC 8030)
inline constexpr std::size_t kMostText = 3993;  ///< bytes of it that are the sender's

/// What makes a subscription readable for its device only. Both halves are secrets of device and server; the private
/// key never leaves the device.
struct Secrets {
  P256Key key;
  Data auth;  ///< kAuthSize random bytes

  static Secrets make();  ///< throws Exception
};

struct Opened {
  std::optional<Data> text;
  std::string problem;  ///< why there is none, in words that tell nothing of the body
  Data salt;            ///< of what was opened; another message has another one
};

/// Never throws for what a body holds.
Opened open(const Secrets& device, std::span<const std::uint8_t> body);

/// A body that only the device with the other halves of these can open. Throws Exception where the text has more than
/// kMostText bytes, or `auth` not kAuthSize.
Data seal(const P256Key& devicePublic, std::span<const std::uint8_t> auth, std::span<const std::uint8_t> text);

}  // namespace webpush
}  // namespace zn
