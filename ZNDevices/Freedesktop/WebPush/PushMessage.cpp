#include "ZNDevices/Freedesktop/WebPush/PushMessage_p.h"

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/rand.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "ZNDevices/Freedesktop/WebPush/OpenSsl_p.h"
#include "ZNPlatform/Foundation/Exception.h"

namespace zn::webpush {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t kRecordSizeAt = kSaltSize;
constexpr std::size_t kKeySizeAt = kRecordSizeAt + 4;
constexpr std::size_t kKeyAt = kKeySizeAt + 1;
constexpr std::size_t kRecordAt = kKeyAt + P256Key::kPublicSize;
constexpr std::size_t kTagSize = 16;
constexpr std::size_t kLeastRecordSize = 18;
constexpr std::uint8_t kLastRecord = 2;  // what stands between a text and its padding
static_assert(kRecordAt + kMostText + 1 + kTagSize == kMostBody);

void require(bool worked) {
  if (!worked) throw Exception("the cryptographic library fails");
}

/// Bytes that are wiped when they are no longer needed.
template <std::size_t size>
struct Secret : std::array<std::uint8_t, size> {
  ~Secret() { OPENSSL_cleanse(this->data(), size); }
};

/// HKDF with SHA-256 (RFC 5869).
void derive(Bytes salt, Bytes secret, Bytes purpose, std::span<std::uint8_t> into) {
  static EVP_KDF* const hkdf = EVP_KDF_fetch(nullptr, "HKDF", nullptr);  // for good
  const OpenSsl<EVP_KDF_CTX, EVP_KDF_CTX_free> context(EVP_KDF_CTX_new(hkdf));
  char digest[] = "SHA256";
  const auto bytes = [](const char* name, Bytes value) {
    return OSSL_PARAM_construct_octet_string(name, const_cast<std::uint8_t*>(value.data()), value.size());
  };
  const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
                                   bytes(OSSL_KDF_PARAM_SALT, salt), bytes(OSSL_KDF_PARAM_KEY, secret),
                                   bytes(OSSL_KDF_PARAM_INFO, purpose), OSSL_PARAM_construct_end()};
  require(context && EVP_KDF_derive(context.get(), into.data(), into.size(), parameters) == 1);
}

struct RecordKey {
  Secret<16> key;
  Secret<12> nonce;
};

/// `own` is a pair, of which device and sender each have one.
RecordKey recordKey(const P256Key& own, const P256Key& other, const P256Key& device, const P256Key& sender, Bytes auth,
                    Bytes salt) {
  const auto bytesOf = [](std::string_view text) { return Data(text.begin(), text.end()); };
  using namespace std::string_view_literals;
  Data purpose = bytesOf("WebPush: info\0"sv);
  purpose.insert(purpose.end(), device.publicKey().begin(), device.publicKey().end());
  purpose.insert(purpose.end(), sender.publicKey().begin(), sender.publicKey().end());
  Data agreed = own.agreeWith(other);
  Secret<32> input;
  derive(auth, agreed, purpose, input);
  OPENSSL_cleanse(agreed.data(), agreed.size());
  RecordKey result;
  derive(salt, input, bytesOf("Content-Encoding: aes128gcm\0"sv), result.key);
  derive(salt, input, bytesOf("Content-Encoding: nonce\0"sv), result.nonce);
  return result;
}

/// The record without its tag; nothing where that does not fit.
std::optional<Data> decrypt(const RecordKey& with, Bytes record) {
  const Bytes encrypted = record.first(record.size() - kTagSize);
  Data tag(record.end() - kTagSize, record.end());
  Data text(encrypted.size());
  const CipherContext context(EVP_CIPHER_CTX_new());
  int size = 0;
  require(context &&
          EVP_DecryptInit_ex2(context.get(), EVP_aes_128_gcm(), with.key.data(), with.nonce.data(), nullptr) == 1 &&
          EVP_DecryptUpdate(context.get(), text.data(), &size, encrypted.data(), static_cast<int>(encrypted.size())) ==
              1 &&
          EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, kTagSize, tag.data()) == 1);
  if (EVP_DecryptFinal_ex(context.get(), text.data() + size, &size) == 1) return text;
  OPENSSL_cleanse(text.data(), text.size());
  return std::nullopt;
}

Data encrypt(const RecordKey& with, Bytes text) {
  Data record(text.size() + kTagSize);
  const CipherContext context(EVP_CIPHER_CTX_new());
  int size = 0;
  require(context &&
          EVP_EncryptInit_ex2(context.get(), EVP_aes_128_gcm(), with.key.data(), with.nonce.data(), nullptr) == 1 &&
          EVP_EncryptUpdate(context.get(), record.data(), &size, text.data(), static_cast<int>(text.size())) == 1 &&
          EVP_EncryptFinal_ex(context.get(), record.data() + size, &size) == 1 &&
          EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, kTagSize, record.data() + text.size()) == 1);
  return record;
}

Data randomBytes(std::size_t count) {
  Data bytes(count);
  require(RAND_bytes(bytes.data(), static_cast<int>(count)) == 1);
  return bytes;
}

Opened refused(const char* problem) { return {.text = std::nullopt, .problem = problem, .salt = {}}; }

}  // namespace

Secrets Secrets::make() { return {P256Key::generate(), randomBytes(kAuthSize)}; }

Opened open(const Secrets& device, Bytes body) {
  if (body.size() < kRecordAt + kLeastRecordSize - 1) return refused("it is too short for an encrypted one");
  if (body[kKeySizeAt] != P256Key::kPublicSize) return refused("it does not name its sender's key");
  std::uint32_t recordSize = 0;
  for (std::size_t at = kRecordSizeAt; at < kKeySizeAt; ++at) recordSize = recordSize << 8 | body[at];
  const Bytes record = body.subspan(kRecordAt);
  // Nothing authenticates the record size. A larger one than any body has use for would pass, although it was changed.
  if (recordSize < kLeastRecordSize || recordSize > kMostBody) return refused("its record size makes no sense");
  if (record.size() > recordSize) return refused("it has more than one record");  // or is longer than any
  const auto sender = P256Key::ofPublic(body.subspan(kKeyAt, P256Key::kPublicSize));
  if (!sender) return refused("its sender's key is none");

  const Bytes salt = body.first(kSaltSize);
  auto text = decrypt(recordKey(device.key, *sender, device.key, *sender, device.auth, salt), record);
  if (!text) return refused("it was not encrypted for this registration, or was changed on its way");
  const auto delimiter = std::find_if(text->rbegin(), text->rend(), [](std::uint8_t byte) { return byte != 0; });
  if (delimiter == text->rend() || *delimiter != kLastRecord) return refused("its text has no end");
  text->resize(static_cast<std::size_t>(text->rend() - delimiter) - 1);
  return {.text = std::move(text), .problem = "", .salt = Data(salt.begin(), salt.end())};
}

Data seal(const P256Key& devicePublic, Bytes auth, Bytes text) {
  if (auth.size() != kAuthSize) throw Exception("the secret of a subscription has 16 bytes");
  if (text.size() > kMostText) throw Exception("a message has at most " + std::to_string(kMostText) + " bytes");
  const P256Key sender = P256Key::generate();  // for this message only
  Data body = randomBytes(kSaltSize);
  const RecordKey key = recordKey(sender, devicePublic, devicePublic, sender, auth, body);
  for (int shift = 24; shift >= 0; shift -= 8) body.push_back(static_cast<std::uint8_t>(kMostBody >> shift));
  body.push_back(P256Key::kPublicSize);
  body.insert(body.end(), sender.publicKey().begin(), sender.publicKey().end());
  Data ended(text.begin(), text.end());
  ended.push_back(kLastRecord);
  const Data record = encrypt(key, ended);
  body.insert(body.end(), record.begin(), record.end());
  return body;
}

}  // namespace zn::webpush
