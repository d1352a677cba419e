#include <gtest/gtest.h>

#include "XelPushClient/Classes/Notifications/MediaTypes.h"

namespace xel {
namespace {

using std::string_literals::operator""s;

TEST(MediaTypes, GiveTheExtensionOfTheTable) {
    struct Row {
        std::string mediaType;
        std::string extension;
    };
    const std::vector<Row> table = {
        {"image", ".jpg"},       {"video", ".mp4"}, {"audio", ".mp3"},
        {"gif", ".gif"},         {"png", ".png"},   {"Image", ".Image"},
        {"VIDEO", ".VIDEO"},     {"", "."},         {"image/png", ".image/png"},
        {"../../x", ".../../x"},
    };
    for (const auto& row : table) {
        EXPECT_EQ(fileExtensionForMediaType(row.mediaType), row.extension);
    }
}

TEST(MediaTypes, AFileNameTakesOnlyWhatCannotLeaveItsFolder) {
    struct Row {
        std::string extension;
        std::string inName;
    };
    const std::vector<Row> table = {
        {".jpg", ".jpg"},
        {".Image", ".Image"},
        {".tar.gz", ".tar.gz"},
        {".svg+xml", ".svg+xml"},
        {".", "."},
        {".image/png", ".image_png"},
        {".../../x", "..._.._x"},
        {"./etc/passwd", "._etc_passwd"},
        {".x\0y"s, ".x_y"},
        {".a b\n\\", ".a_b__"},
        {".\xC3\xA9", ".__"},
        {"." + std::string(5000, 'x'), "." + std::string(31, 'x')},
    };
    for (const auto& row : table) {
        EXPECT_EQ(extensionForFileName(row.extension), row.inName);
    }
}

}  // namespace
}  // namespace xel
