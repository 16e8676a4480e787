#pragma once

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/param_build.h>

#include <memory>

namespace zn {

/// Owners of OpenSSL's objects.
template <auto free>
struct OpenSslFree {
  void operator()(auto* object) const { free(object); }
};
template <class T, auto free>
using OpenSsl = std::unique_ptr<T, OpenSslFree<free>>;

using BigNumber = OpenSsl<BIGNUM, BN_clear_free>;
using KeyContext = OpenSsl<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using DigestContext = OpenSsl<EVP_MD_CTX, EVP_MD_CTX_free>;
using CipherContext = OpenSsl<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
using Parameters = OpenSsl<OSSL_PARAM, OSSL_PARAM_free>;
using ParameterBuilder = OpenSsl<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free>;
using Signature = OpenSsl<ECDSA_SIG, ECDSA_SIG_free>;

}  // namespace zn
