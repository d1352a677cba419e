#include "sandbox/state/ServerCertificate.h"

#include <chrono>
#include <optional>
#include <string>

#include "sandbox/state/CertificateAuthority.h"
#include "sandbox/state/StateFolder.h"

namespace xel::sandbox {
namespace {

constexpr std::chrono::hours kDay{24};
constexpr std::chrono::hours kLife = 825 * kDay;  // the most that common TLS clients accept
constexpr std::chrono::hours kRenewBefore = 30 * kDay;

}  // namespace

std::filesystem::path authorityFile(const StateFolder& folder) {
    return folder.file("ca.pem");
}

ServerCertificateFiles ensureServerCertificate(const StateFolder& folder) {
    const CertificateAuthority authority =
        CertificateAuthority::loadOrCreate(authorityFile(folder), folder.file("ca-key.pem"));
    ServerCertificateFiles files{folder.file("server.pem"), folder.file("server-key.pem")};
    const auto now = std::chrono::system_clock::now();
    const std::optional<std::string> kept = readWholeFile(files.certificate);
    if (kept && readWholeFile(files.privateKey) && authority.hasIssued(*kept, now + kRenewBefore)) {
        return files;
    }
    CertificateContent content;
    content.notBefore = now - kDay;
    content.notAfter = now + kLife;
    const IssuedCertificate issued = authority.issue(content);
    writePrivateFile(files.privateKey, issued.privateKeyPem);
    writePrivateFile(files.certificate, issued.certificatePem);
    return files;
}

}  // namespace xel::sandbox
