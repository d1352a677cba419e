#include "sandbox/distributor/RegistrationStore.h"

#include <cstddef>

#include "XelPushClient/Linux/Push/UnifiedPushRules.h"
#include "sandbox/store/Database.h"

namespace xel::sandbox {

namespace {

using Statement = Database::Statement;

constexpr std::size_t kLongestDescription = 100;

constexpr const char* kSchema =
    "CREATE TABLE IF NOT EXISTS registrations ("
    " token TEXT PRIMARY KEY, service TEXT NOT NULL, endpoint TEXT NOT NULL UNIQUE,"
    " description TEXT NOT NULL);"
    "CREATE TABLE IF NOT EXISTS port (number INTEGER NOT NULL)";

constexpr const char* kSelect = "SELECT service, token, endpoint, description FROM registrations ";

Registration readRow(const Statement& row) {
    return {row.text(0), row.text(1), row.text(2), row.text(3)};
}

}  // namespace

bool isRegistration(const Registration& asked) {
    return isBusName(asked.service) && isConnectionToken(asked.token) &&
           asked.description.size() <= kLongestDescription;
}

RegistrationStore::RegistrationStore(Database& database) : database_(database) {
    database_.run(kSchema);
}

void RegistrationStore::add(const Registration& registration) {
    Statement(database_,
              "INSERT INTO registrations (service, token, endpoint, description) VALUES (?, ?, ?, ?)")
        .bind(registration.service)
        .bind(registration.token)
        .bind(registration.endpoint)
        .bind(registration.description)
        .run();
}

void RegistrationStore::setDescription(const std::string& token, const std::string& description) {
    Statement(database_, "UPDATE registrations SET description = ? WHERE token = ?")
        .bind(description)
        .bind(token)
        .run();
}

void RegistrationStore::remove(const std::string& token) {
    Statement(database_, "DELETE FROM registrations WHERE token = ?").bind(token).run();
}

std::optional<Registration> RegistrationStore::findToken(const std::string& token) const {
    Statement select(database_, (std::string(kSelect) + "WHERE token = ?").c_str());
    return select.bind(token).step() ? std::optional(readRow(select)) : std::nullopt;
}

std::optional<Registration> RegistrationStore::findEndpoint(const std::string& endpoint) const {
    Statement select(database_, (std::string(kSelect) + "WHERE endpoint = ?").c_str());
    return select.bind(endpoint).step() ? std::optional(readRow(select)) : std::nullopt;
}

std::vector<Registration> RegistrationStore::all() const {
    Statement select(database_, (std::string(kSelect) + "ORDER BY rowid").c_str());
    std::vector<Registration> registrations;
    while (select.step()) {
        registrations.push_back(readRow(select));
    }
    return registrations;
}

std::uint16_t RegistrationStore::port() const {
    Statement select(database_, "SELECT number FROM port");
    return select.step() ? static_cast<std::uint16_t>(select.number(0)) : std::uint16_t{0};
}

void RegistrationStore::setPort(std::uint16_t port) {
    database_.run("DELETE FROM port");
    Statement(database_, "INSERT INTO port (number) VALUES (?)").bind(port).run();
}

}  // namespace xel::sandbox
