#include "sandbox/store/VerificationCodes.h"

#include <utility>

#include "sandbox/relay/RandomText.h"
#include "sandbox/store/Database.h"

namespace xel::sandbox {
namespace {

using Statement = Database::Statement;

constexpr std::size_t kDigits = 6;

constexpr const char* kCodeSchema =
    "CREATE TABLE IF NOT EXISTS codes ("
    " user TEXT PRIMARY KEY, code TEXT NOT NULL, expires INTEGER NOT NULL, tries_left INTEGER NOT NULL)";

}  // namespace

VerificationCodes::VerificationCodes(Database& database, Clock clock)
    : database_(database), clock_(std::move(clock)) {
    database_.run(kCodeSchema);
}

std::string VerificationCodes::request(std::string_view user) {
    forgetExpired();
    std::string code = makeRandomDigits(kDigits);
    Statement(database_, "INSERT OR REPLACE INTO codes (user, code, expires, tries_left) VALUES (?, ?, ?, ?)")
        .bind(user)
        .bind(code)
        .bind(clock_() + kLifetime)
        .bind(kTries)
        .run();
    return code;
}

bool VerificationCodes::verify(std::string_view user, std::string_view code) {
    forgetExpired();
    Statement select(database_, "SELECT code, tries_left FROM codes WHERE user = ?");
    if (!select.bind(user).step()) {
        return false;
    }
    if (select.text(0) == code) {
        forget(user);
        return true;
    }
    if (select.number(1) <= 1) {
        forget(user);
    } else {
        Statement(database_, "UPDATE codes SET tries_left = tries_left - 1 WHERE user = ?").bind(user).run();
    }
    return false;
}

Json VerificationCodes::list(std::int64_t limit) {
    forgetExpired();
    Statement select(database_,
                     "SELECT user, code, expires, tries_left FROM codes WHERE rowid IN"
                     " (SELECT rowid FROM codes ORDER BY rowid DESC LIMIT ?) ORDER BY rowid");
    select.bind(limit);
    Json codes = Json::array();
    while (select.step()) {
        codes.push_back(Json{{"user", select.text(0)},
                             {"code", select.text(1)},
                             {"expires", select.number(2)},
                             {"triesLeft", select.number(3)}});
    }
    return codes;
}

void VerificationCodes::forgetExpired() {
    Statement(database_, "DELETE FROM codes WHERE expires <= ?").bind(clock_()).run();
}

void VerificationCodes::forget(std::string_view user) {
    Statement(database_, "DELETE FROM codes WHERE user = ?").bind(user).run();
}

}  // namespace xel::sandbox
