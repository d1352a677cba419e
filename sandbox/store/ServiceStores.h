#pragma once

#include <filesystem>

#include "sandbox/store/CrashReportStore.h"
#include "sandbox/store/Database.h"
#include "sandbox/store/EventStore.h"
#include "sandbox/store/InstallationStore.h"
#include "sandbox/store/TagStore.h"
#include "sandbox/store/VerificationCodes.h"

namespace xel::sandbox {

/// The files in the state folder that hold what the service keeps.
inline constexpr const char* kServiceStoreFile = "service.db";
inline constexpr const char* kEventStoreFile = "events.db";

/// Everything that the service keeps. Used on one thread at a time.
struct ServiceStores {
    explicit ServiceStores(const std::filesystem::path& folder)
        : database(folder / kServiceStoreFile), events(folder / kEventStoreFile) {}

    Database database;
    InstallationStore installations{database};
    TagStore tags{database};
    VerificationCodes codes{database};
    CrashReportStore crashes{database};
    EventStore events;
};

}  // namespace xel::sandbox
