#pragma once

#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace xel::contract {

/// Who may do what with the file, and the bits above that.
inline unsigned modeOf(const std::string& path) {
    struct stat facts {};
    EXPECT_EQ(stat(path.c_str(), &facts), 0) << path;
    return facts.st_mode & 07777U;
}

}  // namespace xel::contract
