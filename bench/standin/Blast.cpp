#include "bench/standin/Blast.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "bench/common/MqttPackets.h"
#include "bench/common/SampleMessage.h"

namespace xel::bench {

namespace {

constexpr std::uint64_t kPacketIds = 65535;
constexpr std::size_t kChunkBytes = 256 * 1024;

std::uint16_t packetIdOf(std::uint64_t index) {
    return static_cast<std::uint16_t>(index % kPacketIds + 1);
}

}  // namespace

Blast::Blast(BlastOptions options)
    : options_(std::move(options)), departures_(options_.departures, options_.count) {
    if (options_.count == 0 || options_.inFlight == 0 || options_.inFlight > kPacketIds) {
        throw std::invalid_argument("--count must be positive and --in-flight 1 to 65535");
    }
    Checksum checksum;
    ends_.reserve(options_.count);
    for (std::uint64_t index = 0; index < options_.count; ++index) {
        const std::uint64_t sample = options_.firstIndex + index;
        const SampleMessage message = options_.payloadBytes > 0
                                          ? makeSampleMessageOfSize(sample, options_.payloadBytes)
                                          : makeSampleMessage(sample);
        appendPublish(bytes_, options_.topic, packetIdOf(index), message.payload);
        ends_.push_back(bytes_.size());
        addSeenFields(checksum, message.seenFields());
    }
    checksum_ = checksum.value();
}

void Blast::start(Clock::time_point now) {
    if (!started_) {
        started_ = true;
        startedAt_ = now;
    }
}

std::uint64_t Blast::allowedEnd(Clock::time_point now) const {
    // A packet id is free again only when the message that bore it 65535 messages ago is acknowledged.
    std::uint64_t end = std::min({options_.count, oldest_ + kPacketIds, acknowledged_ + options_.inFlight});
    if (options_.interval.count() > 0) {
        const auto due = static_cast<std::uint64_t>((now - startedAt_) / options_.interval) + 1;
        end = std::min(end, due);
    }
    return end;
}

std::string_view Blast::take(Clock::time_point now) {
    if (!started_) {
        return {};
    }
    const std::uint64_t end = allowedEnd(now);
    const std::size_t begin = next_ == 0 ? 0 : ends_[next_ - 1];
    std::size_t stop = begin;
    const std::uint64_t first = next_;
    while (next_ < end && stop - begin < kChunkBytes) {
        inFlight_.set(packetIdOf(next_));
        stop = ends_[next_];
        ++next_;
    }
    departures_.add(next_ - first);
    return std::string_view(bytes_).substr(begin, stop - begin);
}

std::chrono::nanoseconds Blast::untilNext(Clock::time_point now) const {
    if (!started_ || options_.interval.count() == 0 || next_ == options_.count) {
        return {};
    }
    const Clock::time_point due = startedAt_ + options_.interval * static_cast<std::int64_t>(next_);
    return std::max<std::chrono::nanoseconds>(due - now, {});
}

void Blast::acknowledge(std::uint16_t packetId, Clock::time_point now) {
    if (!inFlight_.test(packetId)) {
        throw std::runtime_error("PUBACK for packet id " + std::to_string(packetId) +
                                 ", which is not in flight");
    }
    inFlight_.reset(packetId);
    ++acknowledged_;
    while (oldest_ < next_ && !inFlight_.test(packetIdOf(oldest_))) {
        ++oldest_;
    }
    if (complete()) {
        finishedAt_ = now;
    }
}

double Blast::seconds() const {
    return std::chrono::duration<double>(finishedAt_ - startedAt_).count();
}

}  // namespace xel::bench
