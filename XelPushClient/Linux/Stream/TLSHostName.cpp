#include "XelPushClient/Linux/Stream/TLSHostName.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

namespace xel {

namespace {

bool isAddress(const std::string& host) {
    in6_addr address{};
    return ::inet_pton(AF_INET, host.c_str(), &address) == 1 ||
           ::inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

}  // namespace

bool expectHost(ssl_st* connection, const std::string& host) {
    X509_VERIFY_PARAM* const rules = SSL_get0_param(connection);
    X509_VERIFY_PARAM_set_hostflags(
        rules, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS | X509_CHECK_FLAG_NEVER_CHECK_SUBJECT);
    if (isAddress(host)) {
        return X509_VERIFY_PARAM_set1_ip_asc(rules, host.c_str()) == 1;
    }
    return X509_VERIFY_PARAM_set1_host(rules, host.data(), host.size()) == 1 &&
           SSL_set_tlsext_host_name(connection, host.c_str()) == 1;
}

}  // namespace xel
