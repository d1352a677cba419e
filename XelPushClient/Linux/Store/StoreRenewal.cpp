#include "XelPushClient/Linux/Store/StoreRenewal.h"

#include <sqlite3.h>

#include "XelPushClient/Foundation/FormattedText.h"
#include "XelPushClient/Linux/Store/NewStoreFile.h"
#include "XelPushClient/Linux/Store/OldStore.h"
#include "XelPushClient/Linux/Store/StoreError.h"

namespace xel {

Result<void> renewStore(const std::string& path) {
    OldStore old;
    int read = old.open(path);
    NewStoreFile file(path);
    if (auto made = file.make(); !made) {
        return made;
    }
    auto carried = file.database().inTransaction([&](StoreWriter& writer) {
        int written = writer.setJournal(old.run(), old.store());
        if (read == SQLITE_OK) {
            read = old.forEachHome([&](std::string_view name, const HomeCopy& contents) {
                written = written == SQLITE_OK ? contents.bringInto(writer, name, old.run()) : written;
                return written;
            });
        }
        return written;
    });
    if (carried && read != SQLITE_OK) {
        carried = makeStoreError(StoreErrorCode::CannotOpen,
                                 formatted("the store %@ cannot be read (%@)", path, old.words()));
    }
    if (carried) {
        carried = file.finish();
    }
    return carried ? file.putInPlace() : carried;
}

}  // namespace xel
