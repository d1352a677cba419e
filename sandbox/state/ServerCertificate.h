#pragma once

#include <filesystem>

namespace xel::sandbox {

class StateFolder;

/// The certificate with which the broker and the REST backend answer, by its files (both PEM).
struct ServerCertificateFiles {
    std::filesystem::path certificate;
    std::filesystem::path privateKey;

    [[nodiscard]] bool empty() const { return certificate.empty(); }
};

/// The authority's own certificate, which clients are told to trust.
std::filesystem::path authorityFile(const StateFolder& folder);

/// The certificate for localhost, 127.0.0.1 and ::1 that is kept in the folder. A new one is issued at the
/// first start and when the kept one would end within a month or is not by the folder's authority (which is
/// made at the first start, too). Throws SandboxError.
ServerCertificateFiles ensureServerCertificate(const StateFolder& folder);

}  // namespace xel::sandbox
