#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace xel::sandbox {

/// One application's registration for push messages.
struct Registration {
    std::string service;   ///< the D-Bus name of the application, which the bus can start
    std::string token;     ///< the connection token, by which the application knows the registration
    std::string endpoint;  ///< the random end of the endpoint's path
    std::string description{};
};

/// Whether an application may register under that service, connection token and description: a well-known
/// name (nothing is started by the unique ones), and texts of the lengths that UnifiedPush allows.
bool isRegistration(const Registration& asked);

class Database;

/// The registrations, and the port of the endpoints that they were told.
///
/// Thread and errors: those of its database, which outlives it.
class RegistrationStore {
public:
    explicit RegistrationStore(Database& database);

    /// Keeps a registration whose token and endpoint are new.
    void add(const Registration& registration);
    void setDescription(const std::string& token, const std::string& description);
    /// Its messages go with it.
    void remove(const std::string& token);

    [[nodiscard]] std::optional<Registration> findToken(const std::string& token) const;
    [[nodiscard]] std::optional<Registration> findEndpoint(const std::string& endpoint) const;
    [[nodiscard]] std::vector<Registration> all() const;

    /// 0 at first.
    [[nodiscard]] std::uint16_t port() const;
    void setPort(std::uint16_t port);

private:
    Database& database_;
};

}  // namespace xel::sandbox
