#include "XelPushClient/Linux/Homes/HomeStore.h"

#include <exception>
#include <map>
#include <system_error>
#include <utility>
#include <vector>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Linux/Homes/CarriedJournal.h"
#include "XelPushClient/Linux/Homes/DiskSyncs.h"
#include "XelPushClient/Linux/Homes/StoreOpening.h"
#include "XelPushClient/Linux/Process/ForkedChildren.h"
#include "XelPushClient/Linux/Store/StoreError.h"
#include "XelPushClient/Linux/Store/StoreFolder.h"
#include "XelPushClient/Platform/NSRunLoop.h"

namespace xel {

namespace {

/// What is put off goes after so long at the latest.
constexpr std::chrono::milliseconds kLongestPutOff{1000};
/// What could not be written then is tried again so much later.
constexpr std::chrono::milliseconds kBetweenRides{30'000};

using Riders = std::vector<std::weak_ptr<StoreWriteRider>>;

}  // namespace

struct HomeStore::Parts {
    explicit Parts(HomeStoreOptions given)
        : options(std::move(given)), base(options.folder + "/" + options.name), path(base + ".db") {}

    void report(const NSError& problem) const {
        if (options.problemHandler) {
            options.problemHandler(problem);
        }
    }

    const HomeStoreOptions options;
    const std::string base;
    const std::string path;
    std::optional<NSError> damageReport;
    FileDescriptor ownership;
    struct HomeState {
        bool isOpen = false;
        std::uint64_t lastRun = 0;  ///< of the journal, that may have something of it
    };
    std::map<std::string, HomeState, std::less<>> homes;
    std::size_t openHomes = 0;

    JournalRecord record;
    Riders riders;
    Riders turns;
    bool isFlushPosted = false;
    bool isTimerSet = false;

    std::unique_ptr<CarriedJournal> journal;
    /// Null without a run loop. Behind the journal: it syncs its files.
    std::shared_ptr<DiskSyncs> syncs;
};

// ---- Opening.

namespace {

/// From any thread.
bool syncAndReport(CarriedJournal& journal, const CarriedJournal::Extent& extent,
                   const CarriedJournal::Report& report) {
    const bool isSynced = journal.sync(extent);
    if (!isSynced) {
        try {
            report(makeStoreError(StoreErrorCode::WriteFailed, "a journal's file cannot be synced"));
        } catch (const std::exception&) {
            return false;  // not even memory to say so
        }
    }
    return isSynced;
}

}  // namespace

Result<std::shared_ptr<HomeStore>> HomeStore::open(HomeStoreOptions options) {
    auto parts = std::make_unique<Parts>(std::move(options));
    const std::string& folder = parts->options.folder;
    if (auto made = makeStoreFolder(folder); !made) {
        return made.error();
    }
    if (auto ours = refuseForeignFolder(folder); !ours) {
        return ours.error();
    }
    // By a file of its own: the database's is renamed when it is damaged.
    auto ownership = takeOwnership(parts->base + ".lock");
    if (!ownership) {
        return ownership.error();
    }
    parts->ownership = std::move(ownership).value();

    const auto report = [handler = parts->options.problemHandler](const NSError& problem) {
        if (handler) {
            handler(problem);
        }
    };
    auto opened = openStore(parts->base, report, parts->damageReport);
    if (!opened) {
        return opened.error();
    }
    parts->journal = std::move(opened).value();
    syncFolder(folder);
    if (parts->options.runLoop) {
        parts->syncs = std::make_shared<DiskSyncs>(
            parts->options.runLoop,
            [journal = parts->journal.get(), report](const CarriedJournal::Extent& extent) {
                return syncAndReport(*journal, extent, report);
            });
    }
    return ownedByThisProcess(std::unique_ptr<HomeStore>(new HomeStore(std::move(parts))));
}

Result<void> HomeStore::examine(const std::string& folder, const std::string& name) {
    const auto ownership = takeOwnership(folder + "/" + name + ".lock");
    if (!ownership) {
        return ownership.error();
    }
    SqliteConnection connection;
    return connection.open(folder + "/" + name + ".db");
}

HomeStore::HomeStore(std::unique_ptr<Parts> parts) : parts_(std::move(parts)) {}

HomeStore::~HomeStore() = default;

const std::optional<NSError>& HomeStore::damageReport() const {
    return parts_->damageReport;
}
const std::string& HomeStore::path() const {
    return parts_->path;
}
Durability HomeStore::durability() const {
    return parts_->options.durability;
}
const std::shared_ptr<NSRunLoop>& HomeStore::runLoop() const {
    return parts_->options.runLoop;
}

void HomeStore::report(const NSError& problem) const {
    parts_->report(problem);
}

bool HomeStore::isShared() const {
    return parts_->openHomes > 1;
}

Result<HomeStore::Contents> HomeStore::openHome(std::string_view name) {
    auto& home = parts_->homes.try_emplace(std::string(name)).first->second;
    if (home.isOpen) {
        return makeStoreError(StoreErrorCode::InUse, formatted("the home \"%@\" of the store %@ is in use",
                                                               std::string(name), path()));
    }
    auto contents = parts_->journal->withDatabase(home.lastRun, [&](StoreDatabase& database) {
        Contents stored;
        auto read = database.loadSettings(
            name, [&](auto key, auto value) { stored.settings.emplace_back(key, value); });
        if (read) {
            read =
                database.loadClients(name, [&](auto clientId) { stored.clientIds.emplace_back(clientId); });
        }
        return read ? Result<Contents>(std::move(stored)) : read.error();
    });
    if (contents) {
        home.isOpen = true;
        ++parts_->openHomes;
    }
    return contents;
}

void HomeStore::closeHome(std::string_view name) {
    const auto home = parts_->homes.find(name);
    home->second = {.isOpen = false, .lastRun = run()};
    --parts_->openHomes;
}

// ---- Writing.

namespace {

Riders takeRiders(Riders& riders) {
    return std::exchange(riders, {});
}

/// Each of those that are still there. What one of them does may add others elsewhere.
template <class Tell>
void forEachRider(const Riders& riders, Tell tell) {
    for (const auto& each : riders) {
        if (const auto rider = each.lock()) {
            tell(*rider);
        }
    }
}

}  // namespace

Result<void> HomeStore::write(const std::function<void(StoreChangeWriter&)>& change) {
    Parts& parts = *parts_;
    parts.record.clear();
    StoreChangeWriter writer(parts.record.octets());
    // They stay where they are until it is known what became of them: making the record may throw.
    forEachRider(parts.riders, [&](StoreWriteRider& rider) { rider.writeTo(writer); });
    if (change) {
        change(writer);
    }
    auto written = parts.record.isEmpty() ? Result<void>() : parts.journal->append(parts.record);
    const bool isWritten = written.isOk();
    if (isWritten) {
        forEachRider(takeRiders(parts.riders), [](StoreWriteRider& rider) { rider.wasWritten(true); });
    } else {
        forEachRider(parts.riders, [](StoreWriteRider& rider) { rider.wasWritten(false); });
        report(written.error());
    }
    return written;
}

std::uint64_t HomeStore::run() const {
    return parts_->journal->run();
}

void HomeStore::addRider(std::weak_ptr<StoreWriteRider> rider) {
    parts_->riders.push_back(std::move(rider));
    writeRidersIn(kLongestPutOff);
}

void HomeStore::writeRidersIn(std::chrono::milliseconds delay) {
    Parts& parts = *parts_;
    if (!parts.options.runLoop || std::exchange(parts.isTimerSet, true)) {
        return;
    }
    try {
        parts.options.runLoop->scheduleTimer(delay, [weak = weak_from_this()] {
            if (const auto self = weak.lock()) {
                self->parts_->isTimerSet = false;
                self->writeRiders();
            }
        });
    } catch (...) {
        parts.isTimerSet = false;  // the next one asks again
        throw;
    }
}

void HomeStore::writeRiders() {
    if (!parts_->riders.empty() && !write(nullptr)) {
        writeRidersIn(kBetweenRides);
    }
}

void HomeStore::addTurn(std::weak_ptr<StoreWriteRider> rider, bool isRiding) {
    Parts& parts = *parts_;
    if (!isRiding) {
        parts.riders.push_back(rider);
    }
    parts.turns.push_back(std::move(rider));
    if (std::exchange(parts.isFlushPosted, true)) {
        return;
    }
    const auto flush = [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->endTurns();
        }
    };
    if (!parts.options.runLoop) {
        flush();
        return;
    }
    try {
        parts.options.runLoop->post(flush);
    } catch (...) {
        parts.isFlushPosted = false;  // the next one posts it
        throw;
    }
}

// Behind the handlers of everything that had come when the first turn ended: their turns share this write.
void HomeStore::endTurns() {
    parts_->isFlushPosted = false;
    const Riders turns = std::exchange(parts_->turns, {});
    writeRiders();
    forEachRider(turns, [](StoreWriteRider& rider) { rider.turnDidEnd(); });
}

// ---- The disk.

void HomeStore::sync(std::function<void(bool)> done) {
    Parts& parts = *parts_;
    if (!parts.syncs) {
        done(syncNow());
        return;
    }
    try {
        // A copy: what cannot be begun is still to be answered.
        parts.syncs->add(parts.journal->extent(), done);
    } catch (const std::system_error& error) {
        report(makeStoreError(StoreErrorCode::WriteFailed, formatted("the journal of %@ cannot be synced: %@",
                                                                     parts.path, std::string(error.what()))));
        parts.options.runLoop->post([done = std::move(done)] { done(false); });
    }
}

bool HomeStore::syncNow() {
    return syncAndReport(*parts_->journal, parts_->journal->extent(),
                         [this](const NSError& problem) { report(problem); });
}

void HomeStore::syncInBackground() {
    if (durability() == Durability::PowerCut) {
        sync([](bool /*isSynced*/) {});
    }
}

// ---- Reading.

Result<std::vector<OutboxEntry>> HomeStore::outbox(std::string_view home, std::string_view clientId,
                                                   std::uint64_t run) {
    auto read = parts_->journal->withDatabase(
        run, [&](StoreDatabase& database) { return database.outbox(home, clientId); });
    if (!read) {
        report(read.error());
        return read.error();
    }
    if (const std::size_t damaged = read.value().damaged; damaged != 0) {
        report(makeStoreError(
            StoreErrorCode::Damaged,
            formatted("%d publications kept in %@ are damaged and left out", damaged, path())));
    }
    return std::move(read.value().entries);
}

Result<std::optional<std::string>> HomeStore::topics(std::string_view home, std::string_view clientId,
                                                     std::uint64_t run) {
    auto read = parts_->journal->withDatabase(
        run, [&](StoreDatabase& database) { return database.topics(home, clientId); });
    if (!read) {
        report(read.error());
    }
    return read;
}

}  // namespace xel
