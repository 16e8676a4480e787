#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "ZNPlatform/Foundation/Value.h"

struct evp_pkey_st;

namespace zn {

/// A key pair on the curve P-256, or its public half: what Web Push agrees on secrets with, and what senders sign with.
/// Its bytes are those of RFC 8291: 32 of the private key, 65 of the public one (uncompressed). Immutable; copies share
/// the key. Thread: any.
class P256Key {
 public:
  static constexpr std::size_t kPrivateSize = 32;
  static constexpr std::size_t kPublicSize = 65;
  static constexpr std::size_t kSignatureSize = 64;

  /// To be called before the process registers (std::atexit) what ends threads that use keys: OpenSSL, which registers
  /// its own end when it is used first, then outlives them.
  static void prepare();

  static P256Key generate();  ///< throws Exception
  /// Nothing where the bytes are no key, or the two no pair.
  static std::optional<P256Key> ofPair(std::span<const std::uint8_t> privateKey,
                                       std::span<const std::uint8_t> publicKey);
  static std::optional<P256Key> ofPublic(std::span<const std::uint8_t> publicKey);
  /// Of an unencrypted private key as RFC 7468 writes it; nothing where the text is none on this curve.
  static std::optional<P256Key> ofPem(std::string_view text);

  const Data& publicKey() const { return publicKey_; }
  // Of a pair only; they throw Exception.
  Data privateKey() const;
  std::string pem() const;  ///< PKCS #8
  /// The secret that both ends can make, each of its own private key and the other's public one (32 bytes).
  Data agreeWith(const P256Key& other) const;
  /// ECDSA with SHA-256, as RFC 7518 writes it for "ES256".
  Data sign(std::string_view text) const;

  bool verifies(std::span<const std::uint8_t> signature, std::string_view text) const;

 private:
  explicit P256Key(std::shared_ptr<evp_pkey_st> key);

  std::shared_ptr<evp_pkey_st> key_;
  Data publicKey_;
};

}  // namespace zn
