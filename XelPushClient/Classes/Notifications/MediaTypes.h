#pragma once

#include <string>
#include <string_view>

namespace xel {

/// The extension of a media file, with its dot: ".jpg" for "image", ".mp4" for "video", ".mp3" for "audio",
/// and the media type itself for anything else, letter case and all.
[[nodiscard]] std::string fileExtensionForMediaType(std::string_view mediaType);

/// The extension as it may stand in a file's name. A media type comes from the network and may hold anything:
/// what is no ASCII letter, digit, dot, hyphen, underscore or plus becomes an underscore, and the length
/// is bounded, so that the file stays in its folder and is still shown.
[[nodiscard]] std::string extensionForFileName(std::string_view fileExtension);

}  // namespace xel
