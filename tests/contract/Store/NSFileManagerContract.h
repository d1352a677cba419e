#pragma once

#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "XelPushClient/Platform/NSFileManager.h"

namespace xel::contract {

/// What every file manager owes. A subject is default constructible and has
///     NSFileManager& files();
///     std::string folder();                                   // that is there, empty
///     std::optional<std::string> contents(std::string path);  // none when no file is there
template <class Subject>
class NSFileManagerContract : public ::testing::Test {
protected:
    [[nodiscard]] std::string path(const std::string& name) { return subject_.folder() + "/" + name; }
    void write(const std::string& name, const std::string& content) {
        EXPECT_TRUE(subject_.files().writeNewFile(content, path(name)));
    }
    [[nodiscard]] static bool isError(const Result<void>& result, NSFileErrorCode code) {
        return !result && result.error().domain == NSCocoaErrorDomain &&
               result.error().code == static_cast<std::int64_t>(code);
    }

    Subject subject_;
};

TYPED_TEST_SUITE_P(NSFileManagerContract);

TYPED_TEST_P(NSFileManagerContract, WritesAFileWithTheWholeContent) {
    const std::string content = std::string("a\0\nb", 4) + std::string(1'000'000, 'x');
    this->write("whole", content);
    EXPECT_EQ(this->subject_.contents(this->path("whole")), content);
    this->write("empty", "");
    EXPECT_EQ(this->subject_.contents(this->path("empty")), "");
}

TYPED_TEST_P(NSFileManagerContract, NeverWritesOverAFile) {
    this->write("file", "first");
    EXPECT_TRUE(this->isError(this->subject_.files().writeNewFile("second", this->path("file")),
                              NSFileErrorCode::WriteFileExists));
    EXPECT_EQ(this->subject_.contents(this->path("file")), "first");
}

TYPED_TEST_P(NSFileManagerContract, MovesAFile) {
    this->write("from", "content");
    EXPECT_TRUE(this->subject_.files().moveItem(this->path("from"), this->path("to")));
    EXPECT_EQ(this->subject_.contents(this->path("from")), std::nullopt);
    EXPECT_EQ(this->subject_.contents(this->path("to")), "content");
}

TYPED_TEST_P(NSFileManagerContract, DoesNotMoveWhatIsNotThere) {
    EXPECT_TRUE(this->isError(this->subject_.files().moveItem(this->path("from"), this->path("to")),
                              NSFileErrorCode::NoSuchFile));
    EXPECT_EQ(this->subject_.contents(this->path("to")), std::nullopt);
}

TYPED_TEST_P(NSFileManagerContract, NeverMovesOverAFile) {
    this->write("from", "one");
    this->write("to", "other");
    EXPECT_TRUE(this->isError(this->subject_.files().moveItem(this->path("from"), this->path("to")),
                              NSFileErrorCode::WriteFileExists));
    EXPECT_EQ(this->subject_.contents(this->path("from")), "one");
    EXPECT_EQ(this->subject_.contents(this->path("to")), "other");
}

REGISTER_TYPED_TEST_SUITE_P(NSFileManagerContract, WritesAFileWithTheWholeContent, NeverWritesOverAFile,
                            MovesAFile, DoesNotMoveWhatIsNotThere, NeverMovesOverAFile);

}  // namespace xel::contract
