#include "bench/peers/TeamPipeline.h"

#include <chrono>
#include <stdexcept>
#include <string_view>

#include <sqlite3.h>

namespace xel::bench {

namespace {

constexpr int kIdsRemembered = 25;
constexpr int kTrimEvery = 100;  // trimming now and then is the cheaper choice, and fair to the peers

std::string textOf(const rapidjson::Value& object, const char* key) {
    const auto found = object.FindMember(key);
    if (found == object.MemberEnd() || !found->value.IsString()) {
        return {};
    }
    return {found->value.GetString(), found->value.GetStringLength()};
}

std::optional<std::int64_t> millisecondsOf(const rapidjson::Value& object, const char* key) {
    const auto found = object.FindMember(key);
    if (found == object.MemberEnd() || !found->value.IsInt64()) {
        return std::nullopt;
    }
    return found->value.GetInt64();
}

std::int64_t nowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

}  // namespace

class TeamPipeline::SeenIds {
public:
    explicit SeenIds(const std::string& path) {
        check(sqlite3_open(path.c_str(), &database_));
        // The settings of our own store, as far as they are settings: a connection that owns the file takes
        // no lock for each commit, and small pages make small writes. Its log is synchronised at checkpoints
        // only.
        run("PRAGMA page_size=2048");
        run("PRAGMA locking_mode=EXCLUSIVE");
        run("PRAGMA journal_mode=WAL");
        run("PRAGMA synchronous=NORMAL");
        // One tree instead of a table and an index: half the pages that a commit writes.
        run("CREATE TABLE IF NOT EXISTS seen(id TEXT PRIMARY KEY, seq INTEGER NOT NULL) WITHOUT ROWID");
        insert_ = prepare("INSERT OR IGNORE INTO seen(id, seq) VALUES(?1, ?2)");
        trim_ = prepare("DELETE FROM seen WHERE seq <= ?1");
    }

    ~SeenIds() {
        sqlite3_finalize(insert_);
        sqlite3_finalize(trim_);
        sqlite3_close(database_);
    }

    SeenIds(const SeenIds&) = delete;
    SeenIds& operator=(const SeenIds&) = delete;

    /// True when the id was not there; it is there, and committed, afterwards.
    bool addNew(const std::string& id) {
        check(sqlite3_bind_text(insert_, 1, id.data(), static_cast<int>(id.size()), SQLITE_STATIC));
        check(sqlite3_bind_int64(insert_, 2, next_));
        step(insert_);
        if (sqlite3_changes(database_) == 0) {
            return false;
        }
        if (++next_ % kTrimEvery == 0) {
            check(sqlite3_bind_int64(trim_, 1, next_ - kIdsRemembered - 1));
            step(trim_);
        }
        return true;
    }

private:
    void check(int result) const {
        if (result != SQLITE_OK) {
            throw std::runtime_error(sqlite3_errmsg(database_));
        }
    }

    void run(const char* sql) { check(sqlite3_exec(database_, sql, nullptr, nullptr, nullptr)); }

    sqlite3_stmt* prepare(const char* sql) {
        sqlite3_stmt* statement = nullptr;
        check(sqlite3_prepare_v3(database_, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
        return statement;
    }

    void step(sqlite3_stmt* statement) {
        if (sqlite3_step(statement) != SQLITE_DONE) {
            throw std::runtime_error(sqlite3_errmsg(database_));
        }
        check(sqlite3_reset(statement));
    }

    sqlite3* database_ = nullptr;
    sqlite3_stmt* insert_ = nullptr;
    sqlite3_stmt* trim_ = nullptr;
    std::int64_t next_ = 0;  // a run starts with an empty table
};

TeamPipeline::TeamPipeline(const std::string& folder, Callback callback)
    : seen_(std::make_unique<SeenIds>(folder + "/peer.sqlite")), callback_(std::move(callback)) {}

TeamPipeline::~TeamPipeline() = default;

void TeamPipeline::handle(const char* topic, std::size_t topicBytes, const char* payload,
                          std::size_t payloadBytes) {
    rapidjson::Document document;
    document.Parse(payload, payloadBytes);
    if (document.HasParseError() || !document.IsObject()) {
        return;
    }
    const rapidjson::Value& root = document;
    TeamMessage message;
    message.id = textOf(root, "id");
    if (!message.id.empty() && !seen_->addNew(message.id)) {
        return;
    }
    message.expireTimeMs = millisecondsOf(root, "expireTime");
    if (message.expireTimeMs && *message.expireTimeMs < nowMs()) {
        return;
    }
    message.messageBody = textOf(root, "messageBody");
    message.senderId = textOf(root, "senderId");
    message.serverTimeMs = millisecondsOf(root, "serverTime").value_or(0);
    const std::string_view topicText(topic, topicBytes);
    message.channel = topicText.substr(topicText.rfind('/') + 1);
    const auto silent = root.FindMember("silent");
    message.silent = silent != root.MemberEnd() && silent->value.IsTrue();
    const auto data = root.FindMember("data");
    message.data = data != root.MemberEnd() && data->value.IsObject() ? &data->value : nullptr;
    callback_(message);
}

}  // namespace xel::bench
