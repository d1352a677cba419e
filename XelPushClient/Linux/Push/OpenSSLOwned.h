#pragma once

#include <memory>

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/param_build.h>
#include <openssl/params.h>

namespace xel {

/// Frees what OpenSSL made; numbers, which may be private keys, are wiped.
struct OpenSSLRelease {
    void operator()(BIGNUM* number) const { BN_clear_free(number); }
    void operator()(EC_GROUP* group) const { EC_GROUP_free(group); }
    void operator()(EC_POINT* point) const { EC_POINT_free(point); }
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
    void operator()(EVP_KDF* function) const { EVP_KDF_free(function); }
    void operator()(EVP_KDF_CTX* context) const { EVP_KDF_CTX_free(context); }
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(EVP_PKEY_CTX* context) const { EVP_PKEY_CTX_free(context); }
    void operator()(OSSL_PARAM* parameters) const { OSSL_PARAM_free(parameters); }
    void operator()(OSSL_PARAM_BLD* builder) const { OSSL_PARAM_BLD_free(builder); }
};

template <class T>
using OpenSSLOwned = std::unique_ptr<T, OpenSSLRelease>;

}  // namespace xel
