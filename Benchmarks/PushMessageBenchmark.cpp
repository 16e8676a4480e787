// Opening the longest push, beside what of it is the cryptographic library's: the agreement on a secret, and the
// decryption itself.

#include <benchmark/benchmark.h>
#include <openssl/ec.h>
#include <openssl/evp.h>

#include <array>

#include "ZNDevices/Freedesktop/WebPush/PushMessage_p.h"

namespace {

namespace webpush = zn::webpush;

void OpenLongestPush(benchmark::State& state) {
  const auto device = webpush::Secrets::make();
  const zn::Data body = webpush::seal(device.key, device.auth, zn::Data(webpush::kMostText, 'x'));
  for (auto _ : state) {
    if (!webpush::open(device, body).text) state.SkipWithError("it is refused");
  }
}
BENCHMARK(OpenLongestPush)->Unit(benchmark::kMicrosecond);

void AgreementAlone(benchmark::State& state) {
  EVP_PKEY* const own = EVP_EC_gen("P-256");
  EVP_PKEY* const other = EVP_EC_gen("P-256");
  std::array<unsigned char, 32> secret{};
  for (auto _ : state) {
    EVP_PKEY_CTX* const context = EVP_PKEY_CTX_new_from_pkey(nullptr, own, nullptr);
    std::size_t size = secret.size();
    const bool worked = EVP_PKEY_derive_init(context) == 1 && EVP_PKEY_derive_set_peer(context, other) == 1 &&
                        EVP_PKEY_derive(context, secret.data(), &size) == 1;
    if (!worked) state.SkipWithError("the library fails");
    EVP_PKEY_CTX_free(context);
  }
  EVP_PKEY_free(own);
  EVP_PKEY_free(other);
}
BENCHMARK(AgreementAlone)->Unit(benchmark::kMicrosecond);

void DecryptionAlone(benchmark::State& state) {
  const std::array<unsigned char, 16> key{};
  const std::array<unsigned char, 12> nonce{};
  zn::Data text(webpush::kMostText, 'x');
  int size = 0;
  for (auto _ : state) {
    EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    EVP_DecryptInit_ex2(context, EVP_aes_128_gcm(), key.data(), nonce.data(), nullptr);
    EVP_DecryptUpdate(context, text.data(), &size, text.data(), static_cast<int>(text.size()));
    EVP_CIPHER_CTX_free(context);
  }
  benchmark::DoNotOptimize(text.data());
}
BENCHMARK(DecryptionAlone)->Unit(benchmark::kMicrosecond);

}  // namespace
