#include "XelPushClient/Linux/HTTP/CurlCertificates.h"

#include <memory>
#include <string_view>

#include <openssl/ssl.h>
#include <openssl/x509v3.h>

namespace xel {

namespace {

struct FreeNames {
    void operator()(GENERAL_NAMES* names) const { GENERAL_NAMES_free(names); }
};

bool hasAlternativeName(const X509* certificate) {
    const std::unique_ptr<GENERAL_NAMES, FreeNames> names(
        static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
        const int type = sk_GENERAL_NAME_value(names.get(), i)->type;
        if (type == GEN_DNS || type == GEN_IPADD) {
            return true;
        }
    }
    return false;
}

/// OpenSSL's callback for each certificate of the chain; the peer's own is at depth 0.
int verifyNames(int isVerified, X509_STORE_CTX* context) {
    if (isVerified != 1 || X509_STORE_CTX_get_error_depth(context) != 0 ||
        hasAlternativeName(X509_STORE_CTX_get_current_cert(context))) {
        return isVerified;
    }
    X509_STORE_CTX_set_error(context, X509_V_ERR_EMPTY_SUBJECT_ALT_NAME);
    return 0;
}

CURLcode onContext(CURL* /*handle*/, void* context, void* /*data*/) {
    SSL_CTX_set_verify(static_cast<SSL_CTX*>(context), SSL_VERIFY_PEER, &verifyNames);
    return CURLE_OK;
}

}  // namespace

bool requireAlternativeNames(CURL* handle) {
    const char* const library = curl_version_info(CURLVERSION_NOW)->ssl_version;
    return library != nullptr && std::string_view(library).starts_with("OpenSSL/") &&
           curl_easy_setopt(handle, CURLOPT_SSL_CTX_FUNCTION, &onContext) == CURLE_OK;
}

}  // namespace xel
