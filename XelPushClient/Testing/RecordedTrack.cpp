#include "XelPushClient/Testing/RecordedTrack.h"

#include <cmath>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>

namespace xel {
namespace {

constexpr double kLongestTrack = 1e9;  // seconds

std::optional<TrackPoint> readPoint(const std::string& line) {
    std::istringstream words(line);
    double seconds = 0.0;
    TrackPoint point;
    words >> seconds >> point.coordinate.latitude >> point.coordinate.longitude >> point.horizontalAccuracy;
    const bool isComplete = !words.fail() && (words >> std::ws).eof();
    if (!isComplete || seconds < 0.0 || seconds > kLongestTrack) {
        return std::nullopt;
    }
    point.at = std::chrono::milliseconds(std::llround(seconds * 1000.0));
    return point;
}

}  // namespace

RecordedTrack readTrack(std::string_view text) {
    RecordedTrack track;
    std::istringstream lines{std::string(text)};
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        const auto first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#') {
            continue;
        }
        const auto point = readPoint(line);
        if (!point || (!track.empty() && point->at < track.back().at)) {
            throw std::invalid_argument("line " + std::to_string(number) +
                                        " of the track is no point of it: " + line);
        }
        track.push_back(*point);
    }
    return track;
}

}  // namespace xel
