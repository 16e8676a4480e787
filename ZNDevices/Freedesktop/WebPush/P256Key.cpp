#include "ZNDevices/Freedesktop/WebPush/P256Key_p.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include "ZNDevices/Freedesktop/WebPush/OpenSsl_p.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zn {

namespace {

constexpr const char* kCurve = "P-256";

/// What OpenSSL adds to a thread's list of errors in its lifetime is taken off it: a later user would take it for its
/// own.
class ErrorsForgotten {
 public:
  ErrorsForgotten() { ERR_set_mark(); }
  ~ErrorsForgotten() { ERR_pop_to_mark(); }
  ErrorsForgotten(const ErrorsForgotten&) = delete;
  ErrorsForgotten& operator=(const ErrorsForgotten&) = delete;
};

void require(bool worked) {
  if (!worked) throw Exception("the cryptographic library fails");
}

/// Null where they are no key. `privateKey` may be empty.
std::shared_ptr<EVP_PKEY> keyOf(std::span<const std::uint8_t> privateKey, std::span<const std::uint8_t> publicKey) {
  const ParameterBuilder builder(OSSL_PARAM_BLD_new());
  BigNumber number;
  require(builder && OSSL_PARAM_BLD_push_utf8_string(builder.get(), OSSL_PKEY_PARAM_GROUP_NAME, kCurve, 0) == 1 &&
          OSSL_PARAM_BLD_push_octet_string(builder.get(), OSSL_PKEY_PARAM_PUB_KEY, publicKey.data(),
                                           publicKey.size()) == 1);
  if (!privateKey.empty()) {
    number.reset(BN_bin2bn(privateKey.data(), static_cast<int>(privateKey.size()), nullptr));
    require(number && OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_PRIV_KEY, number.get()) == 1);
  }
  const Parameters parameters(OSSL_PARAM_BLD_to_param(builder.get()));
  const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "EC", nullptr));
  EVP_PKEY* key = nullptr;
  require(parameters && context && EVP_PKEY_fromdata_init(context.get()) == 1);
  const int parts = privateKey.empty() ? EVP_PKEY_PUBLIC_KEY : EVP_PKEY_KEYPAIR;
  if (EVP_PKEY_fromdata(context.get(), &key, parts, parameters.get()) != 1) return nullptr;
  return {key, EVP_PKEY_free};
}

using Check = int(EVP_PKEY_CTX*);
bool passes(Check* check, EVP_PKEY* key) {
  const KeyContext context(EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr));
  return context && check(context.get()) == 1;
}

}  // namespace

void P256Key::prepare() { OPENSSL_init_crypto(0, nullptr); }

P256Key::P256Key(std::shared_ptr<EVP_PKEY> key) : key_(std::move(key)), publicKey_(kPublicSize) {
  std::size_t size = 0;
  require(EVP_PKEY_get_octet_string_param(key_.get(), OSSL_PKEY_PARAM_PUB_KEY, publicKey_.data(), publicKey_.size(),
                                          &size) == 1 &&
          size == kPublicSize);
}

P256Key P256Key::generate() {
  std::shared_ptr<EVP_PKEY> key(EVP_EC_gen(kCurve), EVP_PKEY_free);
  require(key != nullptr);
  return P256Key(std::move(key));
}

std::optional<P256Key> P256Key::ofPair(std::span<const std::uint8_t> privateKey,
                                       std::span<const std::uint8_t> publicKey) {
  const ErrorsForgotten forgotten;
  if (privateKey.size() != kPrivateSize || publicKey.size() != kPublicSize) return std::nullopt;
  auto key = keyOf(privateKey, publicKey);
  if (!key || !passes(EVP_PKEY_check, key.get())) return std::nullopt;
  return P256Key(std::move(key));
}

std::optional<P256Key> P256Key::ofPublic(std::span<const std::uint8_t> publicKey) {
  const ErrorsForgotten forgotten;
  constexpr std::uint8_t kUncompressed = 4;
  if (publicKey.size() != kPublicSize || publicKey[0] != kUncompressed) return std::nullopt;
  auto key = keyOf({}, publicKey);  // null for what is no point of the curve
  return key ? std::optional(P256Key(std::move(key))) : std::nullopt;
}

std::optional<P256Key> P256Key::ofPem(std::string_view text) {
  const ErrorsForgotten forgotten;
  const OpenSsl<BIO, BIO_free_all> input(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
  const auto noPassword = [](char*, int, int, void*) { return -1; };
  std::shared_ptr<EVP_PKEY> key(input ? PEM_read_bio_PrivateKey(input.get(), nullptr, noPassword, nullptr) : nullptr,
                                EVP_PKEY_free);
  if (!key || !EVP_PKEY_is_a(key.get(), "EC")) return std::nullopt;
  char group[32] = "";
  EVP_PKEY_get_group_name(key.get(), group, sizeof group, nullptr);
  if (std::string_view(group) != SN_X9_62_prime256v1) return std::nullopt;
  EVP_PKEY_set_utf8_string_param(key.get(), OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, "uncompressed");
  return P256Key(std::move(key));
}

Data P256Key::privateKey() const {
  BIGNUM* number = nullptr;
  require(EVP_PKEY_get_bn_param(key_.get(), OSSL_PKEY_PARAM_PRIV_KEY, &number) == 1);
  const BigNumber owner(number);
  Data bytes(kPrivateSize);
  require(BN_bn2binpad(number, bytes.data(), static_cast<int>(bytes.size())) == static_cast<int>(bytes.size()));
  return bytes;
}

std::string P256Key::pem() const {
  const OpenSsl<BIO, BIO_free_all> output(BIO_new(BIO_s_secmem()));
  require(output &&
          PEM_write_bio_PKCS8PrivateKey(output.get(), key_.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
  char* text = nullptr;
  const long size = BIO_get_mem_data(output.get(), &text);
  return {text, static_cast<std::size_t>(size)};
}

Data P256Key::agreeWith(const P256Key& other) const {
  const KeyContext context(EVP_PKEY_CTX_new_from_pkey(nullptr, key_.get(), nullptr));
  Data secret(kPrivateSize);
  std::size_t size = secret.size();
  require(context && EVP_PKEY_derive_init(context.get()) == 1 &&
          EVP_PKEY_derive_set_peer_ex(context.get(), other.key_.get(), 0) == 1 &&  // it was validated when it was made
          EVP_PKEY_derive(context.get(), secret.data(), &size) == 1 && size == secret.size());
  return secret;
}

Data P256Key::sign(std::string_view text) const {
  const DigestContext context(EVP_MD_CTX_new());
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  std::size_t size = 0;
  require(context &&
          EVP_DigestSignInit_ex(context.get(), nullptr, "SHA256", nullptr, nullptr, key_.get(), nullptr) == 1 &&
          EVP_DigestSign(context.get(), nullptr, &size, bytes, text.size()) == 1);
  Data encoded(size);
  require(EVP_DigestSign(context.get(), encoded.data(), &size, bytes, text.size()) == 1);
  const unsigned char* at = encoded.data();
  const Signature pair(d2i_ECDSA_SIG(nullptr, &at, static_cast<long>(size)));
  Data signature(kSignatureSize);
  constexpr int kHalf = kSignatureSize / 2;
  require(pair && BN_bn2binpad(ECDSA_SIG_get0_r(pair.get()), signature.data(), kHalf) == kHalf &&
          BN_bn2binpad(ECDSA_SIG_get0_s(pair.get()), signature.data() + kHalf, kHalf) == kHalf);
  return signature;
}

bool P256Key::verifies(std::span<const std::uint8_t> signature, std::string_view text) const {
  const ErrorsForgotten forgotten;
  if (signature.size() != kSignatureSize) return false;
  constexpr int kHalf = kSignatureSize / 2;
  const Signature pair(ECDSA_SIG_new());
  BIGNUM* const r = BN_bin2bn(signature.data(), kHalf, nullptr);
  BIGNUM* const s = BN_bin2bn(signature.data() + kHalf, kHalf, nullptr);
  require(pair && r && s && ECDSA_SIG_set0(pair.get(), r, s) == 1);  // which owns the two
  unsigned char* encoded = nullptr;
  const int size = i2d_ECDSA_SIG(pair.get(), &encoded);
  const OpenSsl<unsigned char, [](unsigned char* bytes) { OPENSSL_free(bytes); }> owner(encoded);
  const DigestContext context(EVP_MD_CTX_new());
  require(size > 0 && context &&
          EVP_DigestVerifyInit_ex(context.get(), nullptr, "SHA256", nullptr, nullptr, key_.get(), nullptr) == 1);
  return EVP_DigestVerify(context.get(), encoded, static_cast<std::size_t>(size),
                          reinterpret_cast<const unsigned char*>(text.data()), text.size()) == 1;
}

}  // namespace zn
