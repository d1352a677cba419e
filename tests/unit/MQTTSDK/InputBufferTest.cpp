#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "XelPushClient/MQTTSDK/InputBuffer.h"
#include "XelPushClient/MQTTSDK/MQTTDecoder.h"
#include "XelPushClient/MQTTSDK/MQTTEncoder.h"
#include "XelPushClient/MQTTSDK/MQTTPacket.h"

namespace xel {
namespace {

using Payloads = std::vector<std::string>;

const Payloads kPayloads{"first", "the second", ""};

std::string threePublications() {
    std::string octets;
    for (const auto& payload : kPayloads) {
        appendPublish(octets, "app/news", payload, 7, false);
    }
    return octets;
}

/// What is read when the octets come in pieces that end at those places. Each piece has memory of its own,
/// which is gone before the next one comes, as that of a socket's read is.
Payloads readInPieces(std::string_view octets, const std::vector<std::size_t>& ends) {
    constexpr std::size_t kLargest = 1024;
    InputBuffer input;
    MQTTDecoder decoder(kLargest);
    MQTTInboundPacket packet;
    Payloads read;
    std::size_t begin = 0;
    for (const std::size_t end : ends) {
        std::string piece(octets.substr(begin, end - begin));
        begin = end;
        if (piece.empty()) {
            continue;
        }
        input.offer(piece);
        while (decoder.decode(input.unread(), packet) == MQTTDecoding::Complete) {
            read.emplace_back(packet.payload);
        }
        input.keep();
        piece.assign(piece.size(), '\xFF');
    }
    EXPECT_EQ(decoder.fault(), "");
    EXPECT_TRUE(input.unread().empty()) << input.unread().size() << " octets are left";
    return read;
}

TEST(InputBuffer, GivesEachPublicationOnceWhereverTwoCutsFall) {
    const std::string octets = threePublications();
    for (std::size_t first = 0; first <= octets.size(); ++first) {
        for (std::size_t second = first; second <= octets.size(); ++second) {
            ASSERT_EQ(readInPieces(octets, {first, second, octets.size()}), kPayloads)
                << "cut at " << first << " and " << second;
        }
    }
}

TEST(InputBuffer, GivesEachPublicationOnceWhenEveryOctetComesAlone) {
    const std::string octets = threePublications();
    std::vector<std::size_t> ends;
    for (std::size_t end = 1; end <= octets.size(); ++end) {
        ends.push_back(end);
    }
    EXPECT_EQ(readInPieces(octets, ends), kPayloads);
}

TEST(InputBuffer, GivesBackWhatWasPutBackBeforeWhatComesNext) {
    InputBuffer input;
    const std::string first = "ab";
    input.offer(first);
    const std::string_view before = input.unread();
    input.unread().remove_prefix(1);
    input.unread() = before;
    input.keep();
    const std::string second = "cd";
    input.offer(second);
    EXPECT_EQ(input.unread(), "abcd");
}

}  // namespace
}  // namespace xel
