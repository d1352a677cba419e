#include <filesystem>
#include <fstream>
#include <sstream>

#include <sys/stat.h>

#include "XelPushClient/Linux/Store/PosixFileManager.h"
#include "tests/contract/Store/FileContents.h"
#include "tests/contract/Store/NSFileManagerContract.h"
#include "tests/contract/Store/TemporaryFolder.h"

namespace xel::contract {
namespace {

namespace fs = std::filesystem;

class RealNSFileManagerSubject {
public:
    NSFileManager& files() { return files_; }
    std::string folder() { return folder_.path(); }
    static std::optional<std::string> contents(const std::string& path) { return contentsOf(path); }

private:
    TemporaryFolder folder_;
    PosixFileManager files_;
};

TEST(PosixFileManager, NewFilesAreForTheUserAloneWhateverTheUmask) {
    const TemporaryFolder folder;
    const std::string path = folder.path() + "/file";
    const mode_t before = ::umask(0);
    EXPECT_TRUE(PosixFileManager().writeNewFile("content", path));
    ::umask(before);
    struct stat facts {};
    ASSERT_EQ(::stat(path.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777U, 0600U);
    EXPECT_EQ(facts.st_nlink, 1U);
}

TEST(PosixFileManager, NothingIsLeftOfAFailedWrite) {
    const TemporaryFolder folder;
    const std::string path = folder.path() + "/file";
    std::ofstream(path) << "first";
    EXPECT_FALSE(PosixFileManager().writeNewFile("second", path));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), fs::directory_iterator()), 1);
}

TEST(PosixFileManager, AMissingFolderIsAnError) {
    const TemporaryFolder folder;
    PosixFileManager files;
    const auto written = files.writeNewFile("content", folder.path() + "/none/file");
    ASSERT_FALSE(written);
    EXPECT_NE(written.error().localizedDescription().find("/none/file"), std::string::npos);
    std::ofstream(folder.path() + "/from") << "content";
    EXPECT_FALSE(files.moveItem(folder.path() + "/from", folder.path() + "/none/to"));
    EXPECT_EQ(contentsOf(folder.path() + "/from"), "content");
}

TEST(PosixFileManager, ALinkOfThatNameIsNotFollowed) {
    const TemporaryFolder folder;
    fs::create_symlink(folder.path() + "/elsewhere", folder.path() + "/file");
    EXPECT_FALSE(PosixFileManager().writeNewFile("content", folder.path() + "/file"));
    EXPECT_FALSE(fs::exists(folder.path() + "/elsewhere"));
}

}  // namespace

INSTANTIATE_TYPED_TEST_SUITE_P(Real, NSFileManagerContract, RealNSFileManagerSubject);

}  // namespace xel::contract
