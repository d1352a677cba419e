// A journal's file on a real disk: what was appended comes back, whatever happens to what stands beside it.

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "XelPushClient/Linux/Store/JournalFile.h"
#include "XelPushClient/Linux/Store/JournalImage.h"
#include "tests/contract/Store/FileContents.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel::contract {
namespace {

using Records = std::vector<std::string>;

std::string octetsOf(const std::string& path) {
    return contentsOf(path).value_or("");
}

/// So far a file of this process can grow.
class FileSizeLimit {
public:
    explicit FileSizeLimit(std::uint64_t octets) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &usual_);
        rlimit limit = usual_;
        limit.rlim_cur = octets;
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit() { setrlimit(RLIMIT_FSIZE, &usual_); }

private:
    rlimit usual_{};
};

constexpr std::uint64_t kStore = 77;

class JournalFileTest : public testing::Test {
protected:
    struct Found {
        std::uint64_t run = 0;
        Records records;
        JournalImage::Loss loss;
    };

    [[nodiscard]] std::string path() const { return folder_.path() + "/home.journal"; }

    static Result<void> append(JournalFile& file, std::string_view contents) {
        JournalRecord record;
        record.octets() += contents;
        return file.append(record);
    }

    /// A file with these records as its run.
    JournalFile write(const Records& records, std::uint64_t run = 1) {
        JournalFile file = JournalFile::open(path()).value();
        EXPECT_TRUE(file.begin(kStore, run).isOk());
        for (const auto& record : records) {
            EXPECT_TRUE(append(file, record).isOk());
        }
        return file;
    }

    [[nodiscard]] Found read() const {
        const auto image = JournalImage::read(path());
        EXPECT_TRUE(image.isOk());
        Found found{.run = image.value().run(), .records = {}, .loss = {}};
        found.loss =
            image.value().forEachRecord([&](std::string_view record) { found.records.emplace_back(record); });
        return found;
    }

    TemporaryFolder folder_;
};

/// Records of many lengths, each with contents of its own.
Records manyRecords(std::size_t count = 20) {
    Records records;
    for (std::size_t i = 0; i < count; ++i) {
        records.push_back(std::to_string(i) + ":" + std::string(i * 7 % 40, static_cast<char>('a' + i % 26)));
    }
    return records;
}

/// Whether the one is the other with some of its records left out.
bool isPartOf(const Records& some, const Records& all) {
    auto at = all.begin();
    return std::all_of(some.begin(), some.end(), [&](const std::string& record) {
        at = std::find(at, all.end(), record);
        return at != all.end() && ++at != all.begin();
    });
}

TEST_F(JournalFileTest, HoldsNothingWhileItIsMissingOrEmpty) {
    EXPECT_EQ(read().run, 0U);
    const auto file = JournalFile::open(path());
    ASSERT_TRUE(file.isOk());
    EXPECT_EQ(read().run, 0U);
    EXPECT_TRUE(read().records.empty());
    EXPECT_FALSE(JournalImage::read(path()).value().isUnknown());
}

TEST_F(JournalFileTest, GivesItsRecordsBackInTheirOrder) {
    const auto records = manyRecords();
    const auto file = write(records, 7);
    const auto found = read();
    EXPECT_EQ(found.run, 7U);
    EXPECT_EQ(found.records, records);
    EXPECT_EQ(found.loss.octets, 0U);
    EXPECT_EQ(found.loss.holes, 0U);
}

TEST_F(JournalFileTest, IsForTheUserAlone) {
    const auto file = write({"a"});
    namespace fs = std::filesystem;
    EXPECT_EQ(fs::status(path()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(JournalFileTest, HoldsNothingOfAnEarlierRun) {
    auto file = write(manyRecords());
    ASSERT_TRUE(file.begin(kStore, 2).isOk());
    EXPECT_EQ(read().run, 2U);
    EXPECT_TRUE(read().records.empty());
    // As long as its predecessors were, so that what stands behind begins where a record would.
    ASSERT_TRUE(append(file, manyRecords().front()).isOk());
    EXPECT_EQ(read().records, Records{manyRecords().front()});
    EXPECT_EQ(read().loss.holes, 0U);
}

TEST_F(JournalFileTest, HoldsEachWholeRecordOfAFileThatIsCutAtAnyOctet) {
    const auto records = manyRecords();
    std::vector<std::uint64_t> ends;
    {
        JournalFile file = write({});
        for (const auto& record : records) {
            ASSERT_TRUE(append(file, record).isOk());
            ends.push_back(file.size());
        }
    }
    const std::string whole = octetsOf(path());
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        replaceContents(path(), whole.substr(0, length));
        const auto count = std::upper_bound(ends.begin(), ends.end(), length) - ends.begin();
        const auto found = read();
        ASSERT_EQ(found.records, Records(records.begin(), records.begin() + count)) << "cut at " << length;
        ASSERT_EQ(found.loss.holes, 0U) << "cut at " << length;
    }
}

TEST_F(JournalFileTest, LosesAtMostTheRecordOfWhichAnOctetIsDamaged) {
    const auto records = manyRecords();
    { const auto file = write(records); }
    const std::string whole = octetsOf(path());
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const unsigned flipped : {0x01U, 0x80U, 0xFFU}) {
            std::string damaged = whole;
            damaged[at] = static_cast<char>(static_cast<unsigned char>(damaged[at]) ^ flipped);
            replaceContents(path(), damaged);
            const auto found = read();
            ASSERT_TRUE(isPartOf(found.records, records)) << "octet " << at;
            const bool isOfHeader = at < kJournalHeaderSize;
            ASSERT_EQ(found.records.size(), records.size() - (isOfHeader ? 0U : 1U)) << "octet " << at;
            // Of the last one nobody can tell whether it was cut short.
            const bool isOfLast = found.records.back() != records.back();
            ASSERT_EQ(found.loss.holes, isOfHeader || isOfLast ? 0U : 1U) << "octet " << at;
        }
    }
}

TEST_F(JournalFileTest, IsUnknownWithoutASoundHeader) {
    { const auto file = write(manyRecords()); }
    std::string damaged = octetsOf(path());
    damaged[3] = 'x';
    damaged[kJournalHeaderCopySize + 9] = 'x';
    replaceContents(path(), damaged);
    EXPECT_EQ(read().run, 0U);
    EXPECT_TRUE(read().records.empty());
    EXPECT_TRUE(JournalImage::read(path()).value().isUnknown());
}

TEST_F(JournalFileTest, HoldsWhatItHeldWhenAWriteFailsAndGoesOnThere) {
    auto file = write({"a", "b"});
    {
        const FileSizeLimit limit(0);
        EXPECT_FALSE(append(file, "c").isOk());
    }
    EXPECT_EQ(read().records, (Records{"a", "b"}));
    EXPECT_TRUE(append(file, "d").isOk());
    EXPECT_EQ(read().records, (Records{"a", "b", "d"}));
}

TEST_F(JournalFileTest, WritesOverWhatAWriteLeftThatCameToItsMiddle) {
    auto file = write({"a"});
    {
        const FileSizeLimit limit(file.size() + 150);
        EXPECT_FALSE(append(file, std::string(300, 'b')).isOk());
    }
    EXPECT_EQ(octetsOf(path()).size(), file.size() + 150) << "the rest did not fit";
    EXPECT_EQ(read().records, Records{"a"});
    EXPECT_EQ(read().loss.holes, 0U);
    EXPECT_TRUE(append(file, "c").isOk());
    EXPECT_EQ(read().records, (Records{"a", "c"}));
    EXPECT_EQ(read().loss.holes, 0U);
}

// A power cut: of what was not synced each block may have reached the disk or not.
TEST_F(JournalFileTest, HoldsEverythingThatWasSyncedAfterAPowerCut) {
    constexpr std::size_t kBlock = 512;
    std::mt19937 random(1);
    for (int cut = 0; cut < 300; ++cut) {
        const auto records = manyRecords(120);
        const auto syncedCount = static_cast<std::size_t>(random() % records.size());
        std::string synced;
        std::string last;
        {
            JournalFile file =
                write(Records(records.begin(), records.begin() + static_cast<long>(syncedCount)));
            ASSERT_TRUE(file.sync());
            synced = octetsOf(path());
            for (std::size_t i = syncedCount; i < records.size(); ++i) {
                ASSERT_TRUE(append(file, records[i]).isOk());
            }
            last = octetsOf(path());
        }
        std::string image = last;
        for (std::size_t at = 0; at < last.size(); at += kBlock) {
            if (random() % 2 == 0) {
                const std::size_t length = std::min(kBlock, last.size() - at);
                std::string former = at < synced.size() ? synced.substr(at, length) : std::string();
                former.resize(length, '\0');
                image.replace(at, length, former);
            }
        }
        replaceContents(path(), image);
        const auto found = read();
        ASSERT_GE(found.records.size(), syncedCount);
        ASSERT_TRUE(std::equal(records.begin(), records.begin() + static_cast<long>(syncedCount),
                               found.records.begin()));
        ASSERT_TRUE(isPartOf(found.records, records));
    }
}

TEST_F(JournalFileTest, SaysThatItCannotBeOpenedOrRead) {
    std::filesystem::create_directory(path());
    EXPECT_FALSE(JournalFile::open(path()).isOk());
    EXPECT_FALSE(JournalImage::read(path()).isOk());
}

TEST_F(JournalFileTest, FollowsNoLink) {
    replaceContents(folder_.path() + "/other", "of somebody else");
    std::filesystem::create_symlink(folder_.path() + "/other", path());
    EXPECT_FALSE(JournalFile::open(path()).isOk());
    EXPECT_FALSE(JournalImage::read(path()).isOk());
    EXPECT_EQ(octetsOf(folder_.path() + "/other"), "of somebody else");
}

}  // namespace
}  // namespace xel::contract
