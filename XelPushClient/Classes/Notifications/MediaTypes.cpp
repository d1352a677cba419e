#include "XelPushClient/Classes/Notifications/MediaTypes.h"

#include <algorithm>

namespace xel {
namespace {

/// No file system takes a name of more than 255 octets, and the name's other part needs some of them.
constexpr std::size_t kLongestExtension = 32;

bool mayStandInFileName(char character) {
    const bool isLetter = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
    const bool isDigit = character >= '0' && character <= '9';
    return isLetter || isDigit || character == '.' || character == '-' || character == '_' ||
           character == '+';
}

}  // namespace

std::string fileExtensionForMediaType(std::string_view mediaType) {
    if (mediaType == "image") {
        return ".jpg";
    }
    if (mediaType == "video") {
        return ".mp4";
    }
    if (mediaType == "audio") {
        return ".mp3";
    }
    return "." + std::string(mediaType);
}

std::string extensionForFileName(std::string_view fileExtension) {
    std::string extension(fileExtension.substr(0, kLongestExtension));
    std::replace_if(
        extension.begin(), extension.end(), [](char character) { return !mayStandInFileName(character); },
        '_');
    return extension;
}

}  // namespace xel
