#include "XelPushClient/Linux/Stream/TLSSessions.h"

#include <utility>

#include <openssl/ssl.h>
#include <openssl/x509.h>

namespace xel {

namespace {

bool hasCertificateRunOut(SSL_SESSION* session) {
    X509* const certificate = SSL_SESSION_get0_peer(session);
    return certificate == nullptr || X509_cmp_current_time(X509_get0_notAfter(certificate)) <= 0;
}

}  // namespace

void TLSSessions::Free::operator()(ssl_session_st* session) const {
    SSL_SESSION_free(session);
}

void TLSSessions::keep(const std::string& peer, const ssl_session_st* session) {
    // Its argument is not changed (SSL_SESSION_dup(3)), though OpenSSL 3.0 does not say so.
    Session copy(session != nullptr ? SSL_SESSION_dup(const_cast<SSL_SESSION*>(session)) : nullptr);
    if (!copy || SSL_SESSION_is_resumable(copy.get()) != 1) {
        return;
    }
    const std::lock_guard lock(mutex_);
    if (!sessions_.contains(peer) && sessions_.size() == kMostPeers) {
        sessions_.erase(sessions_.begin());
    }
    auto& ofPeer = sessions_[peer];
    if (ofPeer.size() == kMostOfPeer) {
        ofPeer.erase(ofPeer.begin());
    }
    ofPeer.push_back(std::move(copy));
}

TLSSessions::Session TLSSessions::take(const std::string& peer) {
    const std::lock_guard lock(mutex_);
    const auto found = sessions_.find(peer);
    if (found == sessions_.end()) {
        return nullptr;
    }
    Session newest = std::move(found->second.back());
    found->second.pop_back();
    if (found->second.empty() || hasCertificateRunOut(newest.get())) {
        sessions_.erase(found);
    }
    return newest && !hasCertificateRunOut(newest.get()) ? std::move(newest) : nullptr;
}

}  // namespace xel
